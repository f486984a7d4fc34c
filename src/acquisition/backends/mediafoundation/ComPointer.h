#pragma once

#include <utility>

namespace mediafoundation {

/// Owns one reference to a COM object.
template <typename Interface>
class ComPointer {
 public:
  ComPointer() = default;
  /// Takes over a reference that the caller has.
  explicit ComPointer(Interface* owned) : object(owned) {}
  ComPointer(ComPointer&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
  ComPointer& operator=(ComPointer&& other) noexcept {
    std::swap(object, other.object);
    other.reset();
    return *this;
  }
  ~ComPointer() { reset(); }

  /// One more reference to an object that somebody else owns.
  static ComPointer sharing(Interface* object) {
    if (object) object->AddRef();
    return ComPointer(object);
  }

  Interface* get() const { return object; }
  Interface* operator->() const { return object; }
  explicit operator bool() const { return object != nullptr; }
  /// Where a call leaves a new reference; the old one is released.
  Interface** put() {
    reset();
    return &object;
  }
  /// As `put`, for calls that know no types.
  void** putVoid() { return reinterpret_cast<void**>(put()); }
  void reset() {
    if (Interface* const old = std::exchange(object, nullptr)) old->Release();
  }

 private:
  Interface* object = nullptr;
};

}  // namespace mediafoundation
