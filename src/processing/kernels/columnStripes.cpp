#include "processing/kernels/columnStripes.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "common/numerics.h"
#include "common/vectorised.h"
#include "processing/kernels/medianMagnitude.h"

namespace kernels {

namespace {

constexpr float kGateSigmas = 4.0f;
constexpr float kReachShare = 0.75f;
constexpr float kLargestGate = 1023.0f;
constexpr std::uint32_t kBlockRows = 32;  // rows whose votes, at most kLargestGate each, add up in 16 bits
constexpr std::uint32_t kTile = 512;      // columns whose sums are under way at a time
constexpr std::uint32_t kBefore = 4, kAfter = 3;  // columns between which an edge must not rise
constexpr std::uint32_t kHalfWindow = kStripeWindow / 2;

std::uint16_t gate(float levels) {
  return truncateToU16(static_cast<double>(std::min(levels, kLargestGate)));
}

/// Votes of up to kBlockRows rows.
struct TileVotes {
  std::array<std::int16_t, kTile> sums{};
  std::array<std::int16_t, kTile> voters{};
};

/// One row's votes on `count` columns from `row` on; `before` and `after` point at the columns around the
/// first of them.
OMBRIX_VECTORISED
void addVotes(const std::uint16_t* row, const std::uint16_t* before, const std::uint16_t* after,
              StepGates gates, std::uint32_t count, std::int16_t* __restrict sums,
              std::int16_t* __restrict voters) {
  // A 64-bit index: the compiler cannot rule out that a 32-bit one wraps, and would go column by column.
  for (std::size_t x = 0; x < count; ++x) {
    const std::uint16_t here = row[x], left = *(row + x - 1), first = before[x], last = after[x];
    // A post's flat top, at most 7 columns wide, passes the reach from end to end, but not that from its
    // own level to one of the ends.
    const std::uint16_t ends = levelDistance(last, first);
    const std::uint16_t reach = std::max({ends, levelDistance(here, first), levelDistance(last, left)});
    // Masks take the place of branches and stay as narrow as the levels.
    const std::int16_t near = levelDistance(here, left) <= gates.step ? -1 : 0;
    const std::int16_t far = reach <= gates.reach ? -1 : 0;
    const auto mask = static_cast<std::int16_t>(near & far);
    const auto step = static_cast<std::int16_t>(static_cast<std::uint16_t>(here - left));
    sums[x] = static_cast<std::int16_t>(sums[x] + (step & mask));
    voters[x] = static_cast<std::int16_t>(voters[x] - mask);
  }
}

/// One row's votes on the columns [first, end), of which column 0 has none.
void addRow(const std::uint16_t* row, std::uint32_t width, StepGates gates, std::uint32_t first,
            std::uint32_t end, TileVotes& votes) {
  const auto add = [&](std::uint32_t x, std::uint32_t count) {
    const std::uint16_t* before = row + (x < kBefore ? 0 : x - kBefore);
    const std::uint16_t* after = row + std::min(x + kAfter, width - 1);
    addVotes(row + x, before, after, gates, count, &votes.sums[x - first], &votes.voters[x - first]);
  };
  // Near the sides the reach ends at the outermost column; between these places nothing needs limiting.
  const std::uint32_t inner = std::clamp(kBefore, first, end);
  const std::uint32_t outer = std::clamp(width - kAfter, inner, end);
  for (std::uint32_t x = std::max(first, 1u); x < inner; ++x) add(x, 1);
  if (inner < outer) add(inner, outer - inner);
  for (std::uint32_t x = outer; x < end; ++x) add(x, 1);
}

/// The value at `place` of the line through the window's columns, 0 the first.
float lineThrough(std::span<const float> window, float place) {
  const float middle = 0.5f * static_cast<float>(window.size() - 1);
  float sum = 0.0f, moment = 0.0f, spread = 0.0f;
  for (std::size_t i = 0; i < window.size(); ++i) {
    const float distance = static_cast<float>(i) - middle;
    sum += window[i];
    moment += distance * window[i];
    spread += distance * distance;
  }
  return sum / static_cast<float>(window.size()) + moment / spread * (place - middle);
}

/// Adds to each element the one that `distance` further on, in all but the last ones.
OMBRIX_VECTORISED
void addShifted(std::span<float> values, std::size_t distance) {
  for (std::size_t i = 0; i + distance < values.size(); ++i) values[i] += values[i + distance];
}

}  // namespace

StepGates measureColumnGates(ImageView<const std::uint16_t> image, std::span<std::uint16_t> sample) {
  std::size_t used = 0;
  for (std::uint32_t i = 0; i < sampledRows(image.height); ++i) {
    const std::uint16_t* row = image.row(sampledRow(i, image.height));
    for (std::size_t x = 1; x < image.width; ++x) sample[used + x - 1] = levelDistance(row[x], row[x - 1]);
    used += image.width - 1;
  }
  const float step = kGateSigmas * kSigmaPerMedian * medianMagnitude(sample.first(used));
  return {gate(step), gate(kReachShare * step)};
}

void sumColumnVotes(ImageView<const std::uint16_t> image, StepGates gates, RowBand segments,
                    ColumnVotes& votes) {
  for (std::uint32_t segment = segments.first; segment < segments.end; ++segment) {
    const RowBand rows = stripeSegment(segment, image.height);
    std::int32_t* sums = votes.sums.data() + std::size_t{segment} * image.width;
    std::int32_t* voters = votes.voters.data() + std::size_t{segment} * image.width;
    std::fill_n(sums, image.width, 0);
    std::fill_n(voters, image.width, 0);
    if (image.width < kStripeWindow) continue;
    for (std::uint32_t top = rows.first; top < rows.end; top += kBlockRows) {
      const std::uint32_t bottom = std::min(top + kBlockRows, rows.end);
      for (std::uint32_t first = 0; first < image.width; first += kTile) {
        const std::uint32_t end = std::min(first + kTile, image.width);
        TileVotes tile;
        for (std::uint32_t y = top; y < bottom; ++y)
          addRow(image.row(y), image.width, gates, first, end, tile);
        for (std::size_t x = 0; x < end - first; ++x) sums[first + x] += tile.sums[x];
        for (std::size_t x = 0; x < end - first; ++x) voters[first + x] += tile.voters[x];
      }
    }
  }
}

void removeColumnTrend(std::span<const float> profile, std::span<float> sums, std::span<float> stripes) {
  const std::size_t width = profile.size();
  if (width < kStripeWindow) return std::fill(stripes.begin(), stripes.end(), 0.0f);
  // Doubling the distance makes sums of 16 columns in 4 rounds that run in vector lanes.
  std::copy(profile.begin(), profile.end(), sums.begin());
  for (std::size_t distance = 1; distance < kStripeWindow - 1; distance *= 2) addShifted(sums, distance);
  constexpr float kShare = 1.0f / static_cast<float>(kStripeWindow);
  const std::size_t centred = width - (kStripeWindow - 1);
  for (std::size_t i = 0; i < centred; ++i) {
    stripes[i + kHalfWindow] = profile[i + kHalfWindow] - kShare * (sums[i] + profile[i + kStripeWindow - 1]);
  }
  for (std::size_t i = 0; i < kHalfWindow; ++i) {
    const std::size_t right = width - 1 - i;
    stripes[i] = profile[i] - lineThrough(profile.first(kStripeWindow), static_cast<float>(i));
    stripes[right] =
        profile[right] - lineThrough(profile.last(kStripeWindow), static_cast<float>(kStripeWindow - 1 - i));
  }
}

void measureColumnOffsets(const ColumnVotes& votes, std::uint32_t height, std::span<float> profile,
                          std::span<float> sums, StripeOffsets& offsets) {
  for (std::uint32_t segment = 0; segment < kStripeSegments; ++segment) {
    const RowBand rows = stripeSegment(segment, height);
    const auto enough = static_cast<std::int32_t>((rows.end - rows.first + 7) / 8);
    const std::int32_t* stepSums = votes.sums.data() + std::size_t{segment} * votes.width;
    const std::int32_t* voters = votes.voters.data() + std::size_t{segment} * votes.width;
    for (std::size_t x = 0; x < votes.width; ++x) {
      const float step = static_cast<float>(stepSums[x]) / static_cast<float>(std::max(voters[x], 1));
      profile[x] = voters[x] >= enough ? step : 0.0f;
    }
    float level = 0.0f;
    for (float& value : profile) value = level += value;
    removeColumnTrend(profile, sums, offsets.segment(segment));
  }
  offsets.sort();
}

void ColumnShifts::round(std::span<const float> offsets) {
  for (std::size_t x = 0; x < offsets.size(); ++x) {
    const LevelShift shift = LevelShift::of(offsets[x]);
    lower[x] = shift.lower;
    raise[x] = shift.raise;
  }
}

OMBRIX_VECTORISED
void shiftColumns(ImageView<std::uint16_t> image, const ColumnShifts& shifts, RowBand rows) {
  const std::uint16_t* __restrict lower = shifts.lower.data();
  const std::uint16_t* __restrict raise = shifts.raise.data();
  for (std::uint32_t y = rows.first; y < rows.end; ++y) {
    std::uint16_t* __restrict row = image.row(y);
    for (std::size_t x = 0; x < image.width; ++x) row[x] = shiftLevel(row[x], {lower[x], raise[x]});
  }
}

}  // namespace kernels
