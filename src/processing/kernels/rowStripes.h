#pragma once

#include <cstdint>
#include <span>

#include "common/views.h"
#include "processing/kernels/stripes.h"
#include "processing/rowBands.h"

namespace kernels {

/// A row is compared with the four around it; images with fewer rows than these five get no correction.
constexpr std::uint32_t kRowsCompared = 5;
constexpr float kLargestRowOffset = 60.0f;

/// The four neighbours of a row, those before it and those after. Next to an edge the rows that are there
/// count twice, since only balanced neighbours leave a sloping scene alone; the edge itself has but the two
/// rows inside.
struct RowNeighbours {
  static RowNeighbours of(std::uint32_t row, std::uint32_t height);
  std::uint32_t before[2];
  std::uint32_t after[2];
};

/// How far the levels of a column may lie apart around a row for the column to vote on its offset, in levels.
struct RowGates {
  std::uint16_t offset = 1;  ///< from the mean of the four neighbours
  std::uint16_t reach = 1;   ///< from the mean of the two rows before to that of the two after: finds edges
};

/// The gates of an image: 4 standard deviations of the differences to four neighbours, and 0.4 times that.
/// sample: room for magnitudes, `stripeSampleSize` of them.
RowGates measureRowGates(ImageView<const std::uint16_t> image, std::span<std::uint16_t> sample);

/// Measures the rows of the band: for each segment of the columns the mean difference to the four neighbours
/// over the columns that vote; 0 where less than half of the segment does: row noise shifts every pixel of a
/// row, an edge of the scene only some.
void measureRowOffsets(ImageView<const std::uint16_t> image, RowGates gates, RowBand rows,
                       StripeOffsets& offsets);

/// Takes the offsets, rounded, from the rows of the band; levels saturate.
void shiftRows(ImageView<std::uint16_t> image, std::span<const float> offsets, RowBand rows);

}  // namespace kernels
