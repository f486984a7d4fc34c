#include "processing/kernels/rowStripes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>

#include "common/numerics.h"
#include "common/vectorised.h"
#include "processing/kernels/medianMagnitude.h"

namespace kernels {

namespace {

constexpr float kGateSigmas = 4.0f;
constexpr float kReachShare = 0.4f;
constexpr std::uint32_t kTile = 1280;    // columns whose differences are under way at a time
constexpr float kLargestGate = 8190.0f;  // four times the difference of a voter fits 16 signed bits

struct NeighbourRows {
  NeighbourRows(ImageView<const std::uint16_t> image, std::uint32_t y) {
    const RowNeighbours rows = RowNeighbours::of(y, image.height);
    a = image.row(rows.before[0]), b = image.row(rows.before[1]);
    c = image.row(rows.after[0]), d = image.row(rows.after[1]);
  }
  NeighbourRows from(std::size_t x) const {
    NeighbourRows later = *this;
    later.a += x, later.b += x, later.c += x, later.d += x;
    return later;
  }
  const std::uint16_t *a, *b, *c, *d;
};

/// Rounded up. In 16 bits throughout, as the vector lanes are.
OMBRIX_INLINE std::uint16_t mean(std::uint16_t a, std::uint16_t b) {
  return static_cast<std::uint16_t>((a | b) - (static_cast<std::uint16_t>(a ^ b) >> 1));
}

std::uint16_t gate(float levels) {
  return truncateToU16(static_cast<double>(std::clamp(levels, 1.0f, kLargestGate)));
}

/// What the columns of a tile say on a row.
struct TileVotes {
  std::array<std::int16_t, kTile> quarters;  ///< four times the difference; wrapped where it does not count
  std::array<std::int16_t, kTile> votes;     ///< 1 where it does, else 0
};

OMBRIX_INLINE void addVotes(const std::uint16_t* row, const NeighbourRows& around, RowGates gates,
                            std::size_t count, std::int16_t* __restrict quarters,
                            std::int16_t* __restrict votes) {
  for (std::size_t x = 0; x < count; ++x) {
    const std::uint16_t a = around.a[x], b = around.b[x], c = around.c[x], d = around.d[x];
    const std::uint16_t before = mean(a, b), after = mean(c, d);
    const std::int16_t near = levelDistance(row[x], mean(before, after)) <= gates.offset ? 1 : 0;
    const std::int16_t level = levelDistance(before, after) <= gates.reach ? 1 : 0;
    quarters[x] = static_cast<std::int16_t>(static_cast<std::uint16_t>(4u * row[x] - a - b - c - d));
    votes[x] = static_cast<std::int16_t>(near & level);
  }
}

/// Products of 16 bits are what vector units add up fastest.
OMBRIX_INLINE std::int32_t product(const std::int16_t* a, const std::int16_t* b, std::size_t count) {
  std::int32_t sum = 0;
  for (std::size_t i = 0; i < count; ++i) sum += std::int32_t{a[i]} * std::int32_t{b[i]};
  return sum;
}

/// What the segments of the columns say on a row: sums of quarter levels, and voters.
struct RowSums {
  std::array<std::int32_t, kStripeSegments> sums{};
  std::array<std::int32_t, kStripeSegments> voters{};
};

OMBRIX_VECTORISED
void sumRowVotes(const std::uint16_t* row, const NeighbourRows& around, RowGates gates, std::uint32_t width,
                 RowSums& result) {
  TileVotes tile;
  for (std::uint32_t first = 0; first < width; first += kTile) {
    const std::uint32_t end = std::min(first + kTile, width);
    addVotes(row + first, around.from(first), gates, end - first, tile.quarters.data(), tile.votes.data());
    for (std::uint32_t s = 0; s < kStripeSegments; ++s) {
      const RowBand columns = stripeSegment(s, width);
      const std::uint32_t left = std::max(columns.first, first), right = std::min(columns.end, end);
      if (left >= right) continue;
      const std::int16_t* quarters = tile.quarters.data() + (left - first);
      const std::int16_t* votes = tile.votes.data() + (left - first);
      result.sums[s] += product(quarters, votes, right - left);
      result.voters[s] += product(votes, votes, right - left);
    }
  }
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
    RowSums row;
    sumRowVotes(image.row(y), NeighbourRows(image, y), gates, image.width, row);
    for (std::uint32_t s = 0; s < kStripeSegments; ++s) {
      const RowBand columns = stripeSegment(s, image.width);
      const auto size = static_cast<std::int32_t>(columns.end - columns.first);
      if (row.voters[s] == 0 || row.voters[s] * 2 < size) continue;
      offsets.segment(s)[y] = static_cast<float>(row.sums[s]) / (4.0f * static_cast<float>(row.voters[s]));
    }
  }
}

OMBRIX_VECTORISED
void shiftRows(ImageView<std::uint16_t> image, std::span<const float> offsets, RowBand rows) {
  for (std::uint32_t y = rows.first; y < rows.end; ++y) {
    const LevelShift shift = LevelShift::of(offsets[y]);
    std::uint16_t* row = image.row(y);
    for (std::size_t x = 0; x < image.width; ++x) row[x] = shiftLevel(row[x], shift);
  }
}

}  // namespace kernels
