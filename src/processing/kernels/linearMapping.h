#pragma once

#include <cstdint>

#include "common/views.h"
#include "processing/levels.h"

namespace kernels {

/// Maps [low, high] linearly onto [0, 65535]; levels outside saturate. high < low leaves `to` untouched;
/// high == low sends every pixel, even one below the bound, to 65535.  from, to: of one size; may be the same
/// image, must not overlap otherwise.
void mapLinear(ImageView<const std::uint16_t> from, ImageView<std::uint16_t> to, std::uint16_t low,
               std::uint16_t high);
/// The same in place.
inline void mapLinear(ImageView<std::uint16_t> image, std::uint16_t low, std::uint16_t high) {
  mapLinear(image, image, low, high);
}

/// Counts the levels that `mapLinear` gives, without looking at the pixels again.  histogram: of the levels
/// before they were shifted by `shift` (saturating) and mapped.  counts: cleared first.
void countLinear(ConstLevelCounts histogram, std::int32_t shift, std::uint16_t low, std::uint16_t high,
                 LevelCounts counts);

/// Counts levels that were shifted by `shift` (saturating) since `histogram` was taken; `counts` is cleared
/// first.
void countShifted(ConstLevelCounts histogram, std::int32_t shift, LevelCounts counts);

/// filled = counts, where every empty entry takes the value of the one before it. The entries before the
/// first level that occurs stay 0.
void fillGaps(ConstLevelCounts counts, LevelCounts filled);

}  // namespace kernels
