#pragma once

#include <array>
#include <cstdint>

#include "common/views.h"
#include "processing/state/correctionState.h"
#include "processing/state/outputState.h"

namespace kernels {

/// Columns and rows of the square in the middle of the picture.
constexpr std::uint32_t kTargetSize = 9;

/// The levels of the middle of the picture as it is seen after a turn, row by row.
using TargetLevels = std::array<float, kTargetSize * kTargetSize>;

/// Kelvin.
struct TargetReading {
  float temperature = 0.0f;  ///< of an object with the emissivity, from the mean
  float noise = 0.0f;        ///< spread of the pixels around it
};

/// Reads the 9 x 9 levels from column width / 2 - 5 and row height / 2 - 5 on of the turned picture.
/// image: not turned.  degrees: the turn, clockwise about the centre; 0, 90, 180 and 270 are known, with any
/// other angle no pixel is read and all levels are 0. In pictures that are too small the nearest edge pixel
/// stands in. The image must not be empty.
TargetLevels readTarget(ImageView<const std::uint16_t> image, float degrees);

/// Single-precision sums in the order of the levels; powers in double, rounded.
TargetReading measureTarget(const TargetLevels& levels, const Radiometry& radiometry);

/// Enters a reading into the 16-frame histories and averages them. A history whose newest entry is its reset
/// value (`rangeMinK`, or -1 for noise) is filled with the reading.
void averageTarget(const TargetReading& reading, float rangeMinK, TargetMeasurement& target);

}  // namespace kernels
