#include "common/fileBytes.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <ios>
#include <system_error>

#include "common/filePath.h"
#include "platform/system.h"

namespace {

/// `count` bytes from offset `at` on; fewer when the file ends or fails earlier.
std::optional<std::vector<std::uint8_t>> readPart(const std::string& path, std::uint64_t at,
                                                  std::uint64_t count) {
  try {
    std::ifstream file(filePath(path), std::ios::in | std::ios::binary);
    if (!file.is_open()) return std::nullopt;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(count));
    file.seekg(static_cast<std::streamoff>(at));
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(count));
    bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, file.gcount())));
    return bytes;
  } catch (const std::exception&) {  // no memory for it
    return std::nullopt;
  }
}

}  // namespace

std::optional<std::uint64_t> regularFileSize(const std::string& path) {
  try {
    std::error_code status;
    if (!std::filesystem::is_regular_file(filePath(path), status)) return std::nullopt;
    return platform::fileSize(filePath(path));
  } catch (const std::exception&) {  // a name that the system cannot express
    return std::nullopt;
  }
}

std::optional<std::vector<std::uint8_t>> readFileBytes(const std::string& path, std::uint64_t limit) {
  const std::optional<std::uint64_t> size = regularFileSize(path);
  if (!size) return std::nullopt;
  return readPart(path, 0, std::min(*size, limit));
}

std::optional<std::vector<std::uint8_t>> readFileTail(const std::string& path, std::uint64_t count) {
  const std::optional<std::uint64_t> size = regularFileSize(path);
  if (!size || *size < count) return std::nullopt;
  auto bytes = readPart(path, *size - count, count);
  if (bytes && bytes->size() != count) return std::nullopt;
  return bytes;
}

FileWrite writeFileBytes(const std::string& path, std::span<const std::uint8_t> bytes) {
  std::ofstream file(filePath(path), std::ios::out | std::ios::trunc | std::ios::binary);
  if (!file.is_open()) return FileWrite::notOpened;
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  return file ? FileWrite::written : FileWrite::failed;
}

FileWrite writeFileText(const std::string& path, std::string_view text) {
  return writeFileBytes(path, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}
