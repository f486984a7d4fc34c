#include "tools/common/imageFiles.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>

#include "common/filePath.h"
#include "common/format.h"
#include "platform/program.h"

namespace tools {
namespace {

std::string failure(const std::string& path, int error) {
  return format("cannot write '{}': {}", path, std::generic_category().message(error));
}

}  // namespace

std::string writeFile(const std::string& path, const void* bytes, std::size_t sizeBytes) {
  std::FILE* file = platform::openFile(path, "wb");
  if (file == nullptr) return failure(path, errno);
  // A full disk may show only when the buffers are flushed, so closing counts as well.
  const bool written = std::fwrite(bytes, 1, sizeBytes, file) == sizeBytes;
  int error = written ? 0 : errno;
  if (std::fclose(file) != 0 && written) error = errno;
  if (error == 0) return {};
  std::error_code ignored;
  std::filesystem::remove(filePath(path), ignored);
  return failure(path, error);
}

std::string writePgm(const std::string& path, ImageView<const std::uint16_t> picture) {
  std::string bytes = format("P5\n{} {}\n65535\n", picture.width, picture.height);
  bytes.reserve(bytes.size() + picture.pixelCount() * 2);
  for (const std::uint16_t level : picture.pixels()) {
    bytes.push_back(static_cast<char>(level >> 8));
    bytes.push_back(static_cast<char>(level & 0xFF));
  }
  return writeFile(path, bytes.data(), bytes.size());
}

std::string writePng(const std::string& path, ImageView<const rgb_24b> picture) {
  png_image description{};
  description.version = PNG_IMAGE_VERSION;
  description.width = picture.width;
  description.height = picture.height;
  description.format = PNG_FORMAT_RGB;
  description.flags = PNG_IMAGE_FLAG_FAST;  // frames are written while they stream
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(description);
  std::vector<std::uint8_t> bytes(size);
  if (png_image_write_to_memory(&description, bytes.data(), &size, 0, picture.data, 0, nullptr) == 0) {
    return format("cannot encode '{}': {}", path, description.message);
  }
  return writeFile(path, bytes.data(), size);
}

}  // namespace tools
