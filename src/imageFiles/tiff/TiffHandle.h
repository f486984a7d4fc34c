#pragma once

#include <tiffio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace imageFiles {

/// The bytes that libtiff works on.
class TiffStream {
 public:
  TiffStream() = default;
  TiffStream(const TiffStream&) = delete;
  TiffStream& operator=(const TiffStream&) = delete;
  virtual ~TiffStream() = default;
  /// How many of the `count` bytes from `offset` on were read or written.
  virtual std::size_t readAt(std::uint64_t offset, std::uint8_t* out, std::size_t count) = 0;
  virtual std::size_t writeAt(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count);
  virtual std::uint64_t size() const = 0;

  std::uint64_t position = 0;  ///< libtiff's
};

/// An opened TIFF whose messages are kept instead of printed. The stream must outlive it.
class TiffHandle {
 public:
  ~TiffHandle() { close(); }
  TiffHandle() = default;
  TiffHandle(const TiffHandle&) = delete;
  TiffHandle& operator=(const TiffHandle&) = delete;

  /// mode: as libtiff's TIFFOpen takes it.
  bool open(TiffStream& stream, const char* mode);
  /// Without writing anything that is still pending.
  void close();
  TIFF* get() const { return tiff; }
  explicit operator bool() const { return tiff != nullptr; }

  /// libtiff's first error message since the last call, else `otherwise`.
  std::string takeMessage(const char* otherwise);

 private:
  static int keepMessage(TIFF*, void* handle, const char* module, const char* pattern, va_list arguments);

  TIFF* tiff = nullptr;
  std::array<char, 256> message{};
};

}  // namespace imageFiles
