#include "acquisition/backends/simulated/pgm.h"

#include <charconv>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <utility>

#include "common/filePath.h"
#include "common/format.h"

namespace simulation {
namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

/// Reads the next number of a header, after blanks and comments. False when there is none.
bool readNumber(std::string_view bytes, std::size_t& position, std::uint32_t& number) {
  while (position < bytes.size() && (isBlank(bytes[position]) || bytes[position] == '#')) {
    if (bytes[position] == '#') {
      while (position < bytes.size() && bytes[position] != '\n') ++position;
    } else {
      ++position;
    }
  }
  const char* end = bytes.data() + bytes.size();
  const auto result = std::from_chars(bytes.data() + position, end, number);
  if (result.ec != std::errc()) return false;
  position = static_cast<std::size_t>(result.ptr - bytes.data());
  return true;
}

}  // namespace

std::string parsePgm(std::string_view bytes, GreyPicture& picture) {
  if (bytes.substr(0, 2) != "P5") return "not a binary PGM";
  std::size_t position = 2;
  std::uint32_t width = 0, height = 0, largest = 0;
  if (!readNumber(bytes, position, width) || !readNumber(bytes, position, height) ||
      !readNumber(bytes, position, largest) || position >= bytes.size() || !isBlank(bytes[position])) {
    return "malformed PGM header";
  }
  ++position;  // exactly one blank before the pixels
  if (width < 1 || height < 1 || width > kLargestPictureSide || height > kLargestPictureSide) {
    return format("PGM size {:d}x{:d} is not within 1..{:d}", width, height, kLargestPictureSide);
  }
  if (largest < 256 || largest > 65535) return format("PGM maximum {:d} is not within 256..65535", largest);
  const std::size_t needed = std::size_t{width} * height * 2;
  const std::size_t present = bytes.size() - position;
  if (present != needed) return format("PGM has {:d} bytes of pixels instead of {:d}", present, needed);
  GreyPicture result{width, height, std::vector<std::uint16_t>(needed / 2)};
  for (auto& value : result.values) {
    const auto high = static_cast<std::uint8_t>(bytes[position]);
    const auto low = static_cast<std::uint8_t>(bytes[position + 1]);
    value = static_cast<std::uint16_t>(high << 8 | low);
    position += 2;
    if (value > largest) return format("PGM value {:d} is above the maximum {:d}", value, largest);
  }
  picture = std::move(result);
  return {};
}

std::string readPgm(const std::string& path, GreyPicture& picture) {
  std::error_code error;
  const auto size = std::filesystem::file_size(filePath(path), error);
  if (error) return "cannot be opened";
  constexpr std::uintmax_t kLongestFile =
      std::uintmax_t{kLargestPictureSide} * kLargestPictureSide * 2 + 65536;
  if (size > kLongestFile) return "is too large for a PGM";
  std::ifstream file(filePath(path), std::ios::binary);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  if (!file || !file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) return "cannot be read";
  return parsePgm(bytes, picture);
}

}  // namespace simulation
