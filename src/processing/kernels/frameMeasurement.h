#pragma once

#include <cstdint>
#include <utility>

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

/// Measures a frame and counts its levels into `histogram`, cleared first. The image must not be empty.
/// The mean comes from a single-precision sum taken pixel by pixel in row order; that sum rounds above
/// 16,777,216, so its order is part of the result. spare: all zero, before and after; it helps to count.
FrameMeasurement measureFrame(ImageView<const std::uint16_t> image, LevelCounts histogram, LevelCounts spare);

}  // namespace kernels
