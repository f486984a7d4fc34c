#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "common/views.h"
#include "processing/levels.h"

namespace kernels {

struct LevelAt {
  std::uint16_t level = 0;
  std::uint32_t x = 0;
  std::uint32_t y = 0;
};

struct FrameMeasurement {
  LevelAt minimum;         ///< first occurrence, row by row
  LevelAt maximum;         ///< first occurrence, row by row
  std::uint16_t mean = 0;  ///< truncated
};

/// Lowest and highest level. The image must not be empty.
std::pair<std::uint16_t, std::uint16_t> levelRange(ImageView<const std::uint16_t> image);

/// Working room of `measureFrame`, all 0 between calls.
class CountBanks {
 public:
  static constexpr std::size_t kBanks = 3;
  std::uint32_t* bank(std::size_t index) { return counts.data() + index * kLevels; }

 private:
  std::vector<std::uint32_t> counts = std::vector<std::uint32_t>(kBanks * kLevels);
};

/// Measures a frame and counts its levels into `histogram`, cleared first. The image must not be empty.
/// The mean comes from a single-precision sum taken pixel by pixel in row order; that sum rounds above
/// 16,777,216, so its order is part of the result.
FrameMeasurement measureFrame(ImageView<const std::uint16_t> image, LevelCounts histogram, CountBanks& banks);

}  // namespace kernels
