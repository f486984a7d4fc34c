#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "common/views.h"
#include "processing/rowBands.h"

namespace kernels {

/// Standard deviation of the noise in levels, from the mean size of the second differences across and along
/// (which neither ramps nor straight edges raise) in every fourth row. 0 for fewer than 3 columns or rows.
float noiseSigma(ImageView<const std::uint16_t> image);

/// Values that one band of `filterImage` needs as scratch.
std::size_t filterScratch(std::uint32_t width);

/// Smooths noise of standard deviation `sigma` (above 0) and keeps what rises above it: in every 3 x 3 window
/// the picture is taken as a * level + b, with a near 1 where the variance is above (2 sigma)^2 and near 0
/// below; a pixel takes the mean a and b of the windows that hold it. Edge pixels repeat outwards.
/// in, out: different images of the same size. Writes the rows of `band`.
/// scratch: `filterScratch` values, of this band alone.
void filterImage(ImageView<const std::uint16_t> in, ImageView<std::uint16_t> out, float sigma, RowBand band,
                 std::span<float> scratch);

}  // namespace kernels
