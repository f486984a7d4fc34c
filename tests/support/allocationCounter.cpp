#include "support/allocationCounter.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

#if OMBRIX_OWN_NEW

namespace {
std::atomic<std::uint64_t> allocations{0};
thread_local std::uint64_t untilFailure = 0;  // allocations until the one that fails, itself included

void* allocate(std::size_t bytes, std::size_t alignment) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (untilFailure > 0 && --untilFailure == 0) throw std::bad_alloc();
  const bool plain = alignment <= alignof(std::max_align_t);
  void* block = std::malloc(plain ? std::max<std::size_t>(bytes, 1) : bytes + alignment + sizeof(void*));
  if (!block) throw std::bad_alloc();
  if (plain) return block;
  // The address of the whole lies before the part that is handed out.
  void* const whole = block;
  std::size_t room = bytes + alignment;
  block = static_cast<std::byte*>(block) + sizeof(void*);
  std::align(alignment, bytes, block, room);
  static_cast<void**>(block)[-1] = whole;
  return block;
}

void release(void* block, std::size_t alignment) noexcept {
  std::free(block && alignment > alignof(std::max_align_t) ? static_cast<void**>(block)[-1] : block);
}

void* tryAllocate(std::size_t bytes, std::size_t alignment) noexcept {
  try {
    return allocate(bytes, alignment);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
}  // namespace

#if !OMBRIX_SANITIZED
std::uint64_t allocationCount() { return allocations.load(std::memory_order_relaxed); }
#endif

void failAllocation(std::uint64_t number) { untilFailure = number; }
bool allocationFailed() { return untilFailure == 0; }

// Every form there is: the address sanitizer brings its own of any that is left out, and then sees blocks
// freed by another than they came from.
using Alignment = std::align_val_t;
using Nothrow = std::nothrow_t;
void* operator new(std::size_t bytes) { return allocate(bytes, alignof(std::max_align_t)); }
void* operator new(std::size_t bytes, Alignment alignment) { return allocate(bytes, std::size_t(alignment)); }
void* operator new(std::size_t bytes, const Nothrow&) noexcept {
  return tryAllocate(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, Alignment alignment, const Nothrow&) noexcept {
  return tryAllocate(bytes, std::size_t(alignment));
}
void* operator new[](std::size_t bytes) { return ::operator new(bytes); }
void* operator new[](std::size_t bytes, Alignment alignment) { return ::operator new(bytes, alignment); }
void* operator new[](std::size_t bytes, const Nothrow& none) noexcept { return ::operator new(bytes, none); }
void* operator new[](std::size_t bytes, Alignment alignment, const Nothrow& none) noexcept {
  return ::operator new(bytes, alignment, none);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, Alignment alignment) noexcept { release(block, std::size_t(alignment)); }
void operator delete(void* block, std::size_t, Alignment alignment) noexcept {
  release(block, std::size_t(alignment));
}
void operator delete(void* block, const Nothrow&) noexcept { std::free(block); }
void operator delete(void* block, Alignment alignment, const Nothrow&) noexcept {
  release(block, std::size_t(alignment));
}
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, Alignment alignment) noexcept { release(block, std::size_t(alignment)); }
void operator delete[](void* block, std::size_t, Alignment alignment) noexcept {
  release(block, std::size_t(alignment));
}
void operator delete[](void* block, const Nothrow&) noexcept { std::free(block); }
void operator delete[](void* block, Alignment alignment, const Nothrow&) noexcept {
  release(block, std::size_t(alignment));
}

#endif
