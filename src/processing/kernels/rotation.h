#pragma once

#include <cstdint>

#include "common/views.h"
#include "processing/rowBands.h"

namespace kernels {

/// Sine and cosine of an angle as whole numbers, so that every band finds the same positions.
struct RotationStep {
  std::int64_t cosine = 0;  ///< times 2^31
  std::int64_t sine = 0;    ///< times 2^31
};

/// degrees: clockwise as the picture is seen, finite. Multiples of 90 are exact.
RotationStep rotationStep(double degrees);

/// Turns `in` about its centre into `out`, an image of the same size. Levels between pixels are bilinear, by
/// weights of 14 bits, rounded; what lies outside repeats the nearest edge pixel. Writes the rows of `band`.
void rotateImage(ImageView<const std::uint16_t> in, ImageView<std::uint16_t> out, RotationStep step,
                 RowBand band);

}  // namespace kernels
