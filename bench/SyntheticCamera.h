#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace bench {

/// What a camera without corrections delivers, and the calibration that goes with it: a scene with warm
/// blobs, fixed pattern with column stripes, noise, and one defective pixel in a thousand. The same size
/// always gives the same bytes. The library and its peers are measured on it.
struct SyntheticCamera {
  SyntheticCamera(std::uint16_t imageWidth, std::uint16_t imageHeight);

  std::size_t pixelCount() const { return std::size_t{width} * height; }

  static constexpr std::size_t kFrames = 8;
  std::uint16_t width;
  std::uint16_t height;
  static constexpr std::uint16_t kTableFrames = 16;
  std::vector<std::uint32_t> table;               ///< flat-field sums of kTableFrames frames
  std::uint32_t target = 0;                       ///< mean level of the table
  std::vector<std::pair<int, int>> defects;       ///< x, y; row by row
  std::vector<std::vector<std::uint8_t>> frames;  ///< big-endian samples, the level in their upper 14 bits
};

/// The one of a size, made at first use and kept.
const SyntheticCamera& syntheticCamera(std::uint16_t width, std::uint16_t height);

}  // namespace bench
