#pragma once

#include <cstdint>
#include <span>

#include "processing/levels.h"

namespace kernels {

/// Makes the clipped cumulative distribution of an image, from near 0 to 1, in single precision from level 0
/// upwards: every level counts for at most clipFraction of the pixels. When that limit is below one pixel,
/// nothing counts, and the table is the ramp level / 65535.
/// counts: pixels per level of the image.  pixels: of the image.  clipFraction: NaN counts as 0.
void tabulateContrast(ConstLevelCounts counts, std::size_t pixels, float clipFraction,
                      std::span<float, kLevels> contrast);

}  // namespace kernels
