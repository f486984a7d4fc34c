#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace simulation {

/// A grey picture of 16-bit values, row by row.
struct GreyPicture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint16_t> values;
};

inline constexpr std::uint32_t kLargestPictureSide = 8192;

/// Reads a binary PGM ("P5") of at most 8192 x 8192 with a largest value of 256 to 65535, the high byte
/// first. Comments are allowed in the header, bytes after the pixels are not. An empty text means success,
/// otherwise it is the reason and `picture` is untouched.
std::string parsePgm(std::string_view bytes, GreyPicture& picture);

/// The same from a file.
std::string readPgm(const std::string& path, GreyPicture& picture);

}  // namespace simulation
