#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "common/views.h"
#include "processing/rowBands.h"

namespace kernels {

/// A row is compared with the four around it; images with fewer rows than these five get no correction.
constexpr std::uint32_t kRowsCompared = 5;

/// How far a pixel may lie from the mean of its column's four neighbouring rows to count, in quarter levels:
/// 4 standard deviations of these differences. sample: room for magnitudes, `rowSampleSize` of them.
std::int32_t measureRowGate(ImageView<const std::uint16_t> image, std::span<std::uint16_t> sample);
std::size_t rowSampleSize(std::uint32_t width, std::uint32_t height);

/// offsets[y] = mean difference between row y of the band and its four neighbouring rows, over the pixels
/// within the gate, limited to 60 levels; 0 where less than half of the row lies within it: row noise
/// shifts every pixel of a row, an edge of the scene only some.
void measureRowOffsets(ImageView<const std::uint16_t> image, std::int32_t gate, RowBand rows,
                       std::span<float> offsets);

/// Takes gain * offset, rounded, from the rows of the band; levels saturate.
void shiftRows(ImageView<std::uint16_t> image, std::span<const float> offsets, float gain, RowBand rows);

}  // namespace kernels
