#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "common/views.h"
#include "processing/rowBands.h"

namespace kernels {

/// The running mean that separates stripes from the scene spans this many columns. Narrower images have no
/// scale at which the two differ: they get no correction.
constexpr std::uint32_t kStripeWindow = 17;

/// How far the levels of a row may step between columns for the row to vote on a stripe.
struct StepGates {
  std::uint16_t step = 0;   ///< from one column to the next
  std::uint16_t reach = 0;  ///< from four columns before to three after: finds edges that rise slowly
};

/// What the rows say about the step from column x - 1 to column x: sum of the votes and their number.
struct ColumnSteps {
  void allocate(std::uint32_t width) { sums.assign(width, 0), voters.assign(width, 0); }
  std::vector<std::int32_t> sums;
  std::vector<std::uint16_t> voters;
};

/// The gates of an image: 4 standard deviations of its column differences, and three quarters of that.
/// sample: room for magnitudes, `columnSampleSize` of them.
StepGates measureColumnGates(ImageView<const std::uint16_t> image, std::span<std::uint16_t> sample);
std::size_t columnSampleSize(std::uint32_t width, std::uint32_t height);

/// Collects the votes on the columns of a band (columns, not rows: no votes have to be merged afterwards).
void sumColumnSteps(ImageView<const std::uint16_t> image, StepGates gates, RowBand columns,
                    ColumnSteps& steps);

/// Turns votes into the offset of each column against the 17 columns around it, limited to 80 levels.
/// Steps on which fewer than an eighth of the `height` rows voted count as 0: they belong to the scene.
/// profile: scratch.  All spans hold one element per column.
void integrateColumnSteps(const ColumnSteps& steps, std::uint32_t height, std::span<double> profile,
                          std::span<float> offsets);

/// A rounded offset for each column, split by sign because unsigned arithmetic saturates without branches.
struct ColumnShifts {
  void allocate(std::uint32_t width) { lower.assign(width, 0), raise.assign(width, 0); }
  void round(std::span<const float> offsets);
  std::vector<std::uint16_t> lower;  ///< levels to take away
  std::vector<std::uint16_t> raise;  ///< levels to add
};

/// Takes the offsets from every row of the band; levels saturate.
void shiftColumns(ImageView<std::uint16_t> image, const ColumnShifts& shifts, RowBand rows);

}  // namespace kernels
