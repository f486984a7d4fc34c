#include "imageFiles/tiff/TiffHandle.h"

#include <cstdarg>
#include <cstdio>
#include <exception>

namespace imageFiles {
namespace {

/// More than any page of ours needs; a damaged file may ask for gigabytes.
constexpr tmsize_t kLargestAllocation = tmsize_t{16} << 20;

TiffStream& streamOf(thandle_t handle) { return *static_cast<TiffStream*>(handle); }

tmsize_t readStream(thandle_t handle, void* out, tmsize_t count) {
  TiffStream& stream = streamOf(handle);
  if (count <= 0) return 0;
  const std::size_t done =
      stream.readAt(stream.position, static_cast<std::uint8_t*>(out), static_cast<std::size_t>(count));
  stream.position += done;
  return static_cast<tmsize_t>(done);
}

tmsize_t writeStream(thandle_t handle, void* bytes, tmsize_t count) {
  TiffStream& stream = streamOf(handle);
  if (count <= 0) return 0;
  try {
    const std::size_t done = stream.writeAt(stream.position, static_cast<const std::uint8_t*>(bytes),
                                            static_cast<std::size_t>(count));
    stream.position += done;
    return static_cast<tmsize_t>(done);
  } catch (const std::exception&) {  // no memory; nothing may be thrown through libtiff
    return 0;
  }
}

toff_t seekStream(thandle_t handle, toff_t offset, int whence) {
  TiffStream& stream = streamOf(handle);
  // Offsets are unsigned here, and a damaged file may name any.
  if (whence == SEEK_SET) stream.position = offset;
  if (whence == SEEK_CUR) stream.position += offset;
  if (whence == SEEK_END) stream.position = stream.size() + offset;
  return stream.position;
}

int closeStream(thandle_t) { return 0; }
toff_t sizeOfStream(thandle_t handle) { return streamOf(handle).size(); }
int ignoreWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

}  // namespace

std::size_t TiffStream::writeAt(std::uint64_t, const std::uint8_t*, std::size_t) { return 0; }

bool TiffHandle::open(TiffStream& stream, const char* mode) {
  close();
  const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                 &TIFFOpenOptionsFree);
  if (!options) return false;
  // Handlers of this file alone: the application may use libtiff too.
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &TiffHandle::keepMessage, this);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &ignoreWarning, nullptr);
  TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), kLargestAllocation);
  tiff = TIFFClientOpenExt("TIFF", mode, &stream, readStream, writeStream, seekStream, closeStream,
                           sizeOfStream, nullptr, nullptr, options.get());
  return tiff != nullptr;
}

void TiffHandle::close() {
  if (tiff != nullptr) TIFFCleanup(tiff);
  tiff = nullptr;
}

std::string TiffHandle::takeMessage(const char* otherwise) {
  std::string text = message[0] != '\0' ? message.data() : otherwise;
  message[0] = '\0';
  return text;
}

int TiffHandle::keepMessage(TIFF*, void* handle, const char*, const char* pattern, va_list arguments) {
  auto& message = static_cast<TiffHandle*>(handle)->message;
  // The first message names the cause; what follows tells how the failure went up.
  if (message[0] == '\0') std::vsnprintf(message.data(), message.size(), pattern, arguments);
  return 1;
}

}  // namespace imageFiles
