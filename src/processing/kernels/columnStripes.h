#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "common/views.h"
#include "processing/kernels/stripes.h"
#include "processing/rowBands.h"

namespace kernels {

/// The running mean that separates stripes from the scene spans this many columns. Narrower images have no
/// scale at which the two differ: they get no correction.
constexpr std::uint32_t kStripeWindow = 17;
constexpr float kLargestColumnOffset = 80.0f;

/// How far the levels of a row may step between columns for the row to vote on a stripe.
struct StepGates {
  std::uint16_t step = 0;  ///< from one column to the next
  std::uint16_t reach =
      0;  ///< across the columns around them: finds edges that rise slowly and narrow objects
};

/// What the rows say about the step from column x - 1 to column x: sum of the votes and their number, segment
/// by segment of the rows.
struct ColumnVotes {
  void allocate(std::uint32_t imageWidth) {
    width = imageWidth;
    sums.assign(std::size_t{kStripeSegments} * width, 0);
    voters.assign(std::size_t{kStripeSegments} * width, 0);
  }
  std::uint32_t width = 0;
  std::vector<std::int32_t> sums;
  std::vector<std::int32_t> voters;
};

/// The gates of an image: 4 standard deviations of its column differences, and three quarters of that.
/// sample: room for magnitudes, `stripeSampleSize` of them.
StepGates measureColumnGates(ImageView<const std::uint16_t> image, std::span<std::uint16_t> sample);

/// Collects the votes of a band of segments (0..8), no matter how they are split. A row votes on column x
/// when its levels at x - 4, x - 1, x and x + 3 lie within the gates; near the sides the outermost column
/// stands for those beyond.
void sumColumnVotes(ImageView<const std::uint16_t> image, StepGates gates, RowBand segments,
                    ColumnVotes& votes);

/// Takes the mean of the 17 columns around each column from it. At the sides, where the window cannot be
/// centred, a line through it is taken: it keeps a sloping scene from passing for a stripe.
/// Narrower than the window: all 0.  profile, sums (scratch), stripes: one element per column.
void removeColumnTrend(std::span<const float> profile, std::span<float> sums, std::span<float> stripes);

/// Turns votes into the offset of each column against the 17 columns around it. Steps on which fewer than an
/// eighth of a segment's rows voted count as 0: they belong to the scene.
/// profile, sums: scratch, one element per column.
void measureColumnOffsets(const ColumnVotes& votes, std::uint32_t height, std::span<float> profile,
                          std::span<float> sums, StripeOffsets& offsets);

/// A rounded offset for each column.
struct ColumnShifts {
  void allocate(std::uint32_t width) { lower.assign(width, 0), raise.assign(width, 0); }
  void round(std::span<const float> offsets);
  std::vector<std::uint16_t> lower;
  std::vector<std::uint16_t> raise;
};

/// Takes the offsets from every row of the band; levels saturate.
void shiftColumns(ImageView<std::uint16_t> image, const ColumnShifts& shifts, RowBand rows);

}  // namespace kernels
