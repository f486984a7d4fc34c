#pragma once

#include <cstdint>
#include <span>

namespace kernels {

/// Median of magnitudes that were rounded to whole numbers, placed within its unit by its rank, so that it
/// moves smoothly where noise is as small as a level. 0 for none.
float medianMagnitude(std::span<const std::uint16_t> magnitudes);

/// Standard deviation of normally distributed values by the median of their magnitudes.
constexpr float kSigmaPerMedian = 1.4826f;

}  // namespace kernels
