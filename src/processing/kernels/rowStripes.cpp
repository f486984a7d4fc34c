#include "processing/kernels/rowStripes.h"

#include <algorithm>
#include <cstdlib>

#include "common/numerics.h"
#include "processing/kernels/medianMagnitude.h"

namespace kernels {

namespace {

constexpr float kGateSigmas = 4.0f;
constexpr float kReachShare = 0.4f;
constexpr float kLargestGate = 8190.0f;  // four times the difference of a voter fits 16 signed bits

struct NeighbourRows {
  NeighbourRows(ImageView<const std::uint16_t> image, std::uint32_t y) {
    const RowNeighbours rows = RowNeighbours::of(y, image.height);
    a = image.row(rows.before[0]), b = image.row(rows.before[1]);
    c = image.row(rows.after[0]), d = image.row(rows.after[1]);
  }
  const std::uint16_t *a, *b, *c, *d;
};

std::uint16_t mean(std::uint16_t a, std::uint16_t b) { return static_cast<std::uint16_t>((a + b + 1) >> 1); }

std::uint16_t gate(float levels) {
  return truncateToU16(static_cast<double>(std::clamp(levels, 1.0f, kLargestGate)));
}

/// The columns [first, end)'s say on a row: the mean difference of those that vote.
float segmentOffset(const std::uint16_t* row, const NeighbourRows& around, RowGates gates, RowBand columns) {
  std::int32_t sum = 0;  // of quarter levels
  std::uint16_t voters = 0;
  for (std::size_t x = columns.first; x < columns.end; ++x) {
    const std::uint16_t a = around.a[x], b = around.b[x], c = around.c[x], d = around.d[x];
    const std::uint16_t before = mean(a, b), after = mean(c, d);
    const std::uint16_t near = levelDistance(row[x], mean(before, after)) <= gates.offset ? 1 : 0;
    const std::uint16_t level = levelDistance(before, after) <= gates.reach ? 1 : 0;
    const auto votes = static_cast<std::uint16_t>(near & level);
    // Wraps where it does not count. Products of 16 bits are what vector units add up fastest.
    const auto quarters = static_cast<std::int16_t>(static_cast<std::uint16_t>(4 * row[x] - a - b - c - d));
    sum += std::int32_t{quarters} * std::int32_t{static_cast<std::int16_t>(votes)};
    voters = static_cast<std::uint16_t>(voters + votes);
  }
  if (voters == 0 || voters * 2u < columns.end - columns.first) return 0.0f;
  return static_cast<float>(sum) / (4.0f * static_cast<float>(voters));
}

}  // namespace

RowNeighbours RowNeighbours::of(std::uint32_t row, std::uint32_t height) {
  const std::uint32_t last = height - 1;
  if (row == 0) return {{1, 2}, {1, 2}};
  if (row == last) return {{last - 1, last - 2}, {last - 1, last - 2}};
  if (row == 1 || row == last - 1) return {{row - 1, row - 1}, {row + 1, row + 1}};
  return {{row - 2, row - 1}, {row + 1, row + 2}};
}

RowGates measureRowGates(ImageView<const std::uint16_t> image, std::span<std::uint16_t> sample) {
  if (image.height < kRowsCompared) return {};
  std::size_t used = 0;
  for (std::uint32_t i = 0; i < sampledRows(image.height); ++i) {
    const std::uint32_t y = sampledRow(i, image.height);
    const std::uint16_t* row = image.row(y);
    const NeighbourRows around(image, y);
    for (std::size_t x = 0; x < image.width; ++x) {
      const std::int32_t quarters = 4 * row[x] - around.a[x] - around.b[x] - around.c[x] - around.d[x];
      sample[used + x] = static_cast<std::uint16_t>(std::min(std::abs(quarters), 65535));
    }
    used += image.width;
  }
  const float offset = 0.25f * kGateSigmas * kSigmaPerMedian * medianMagnitude(sample.first(used));
  return {gate(offset), gate(kReachShare * offset)};
}

void measureRowOffsets(ImageView<const std::uint16_t> image, RowGates gates, RowBand rows,
                       StripeOffsets& offsets) {
  for (std::uint32_t y = rows.first; y < rows.end; ++y) {
    for (std::uint32_t s = 0; s < kStripeSegments; ++s) offsets.segment(s)[y] = 0.0f;
    if (image.height < kRowsCompared) continue;
    const NeighbourRows around(image, y);
    for (std::uint32_t s = 0; s < kStripeSegments; ++s) {
      offsets.segment(s)[y] = segmentOffset(image.row(y), around, gates, stripeSegment(s, image.width));
    }
  }
}

void shiftRows(ImageView<std::uint16_t> image, std::span<const float> offsets, RowBand rows) {
  for (std::uint32_t y = rows.first; y < rows.end; ++y) {
    const LevelShift shift = LevelShift::of(offsets[y]);
    std::uint16_t* row = image.row(y);
    for (std::size_t x = 0; x < image.width; ++x) row[x] = shiftLevel(row[x], shift);
  }
}

}  // namespace kernels
