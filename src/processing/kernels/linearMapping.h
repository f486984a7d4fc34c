#pragma once

#include <cstdint>

#include "common/views.h"
#include "processing/levels.h"

namespace kernels {

/// Maps [low, high] linearly onto [0, 65535], in place; levels outside saturate. Counts the new levels into
/// `counts`, cleared first. high < low leaves both untouched; high == low sends every pixel, even one below
/// the bound, to 65535.
void mapLinear(ImageView<std::uint16_t> image, std::uint16_t low, std::uint16_t high, LevelCounts counts);

/// Counts the image's levels into `counts`, cleared first.
void countLevels(ImageView<const std::uint16_t> image, LevelCounts counts);

/// filled = counts, where every empty entry takes the value of the one before it. The entries before the
/// first level that occurs stay 0.
void fillGaps(ConstLevelCounts counts, LevelCounts filled);

}  // namespace kernels
