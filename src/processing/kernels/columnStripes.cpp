#include "processing/kernels/columnStripes.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "common/numerics.h"
#include "processing/kernels/medianMagnitude.h"

namespace kernels {

namespace {

constexpr std::uint32_t kSampledRows = 32;
constexpr float kGateSigmas = 4.0f;
constexpr float kReachShare = 0.75f;
constexpr float kLargestGate = 32767.0f;  // a step that passes fits 16 signed bits
constexpr float kLargestOffset = 80.0f;
constexpr std::uint32_t kBefore = 4, kAfter = 3;  // columns between which an edge must not rise
constexpr std::uint32_t kHalfWindow = kStripeWindow / 2;

std::uint16_t distance(std::uint16_t a, std::uint16_t b) {
  return static_cast<std::uint16_t>(std::max(a, b) - std::min(a, b));
}

std::uint16_t gate(float levels) {
  return truncateToU16(static_cast<double>(std::min(levels, kLargestGate)));
}

/// One row's votes on the columns [first, end). `before` and `after` point at the columns between which the
/// row's reach to column 0 is measured.
void addVotes(const std::uint16_t* row, const std::uint16_t* before, const std::uint16_t* after,
              StepGates gates, std::uint32_t first, std::uint32_t end, std::int32_t* __restrict sums,
              std::uint16_t* __restrict voters) {
  // A 64-bit index: the compiler cannot rule out that a 32-bit one wraps, and would go column by column.
  for (std::size_t x = first; x < end; ++x) {
    // Masks take the place of branches and stay as narrow as the levels; what passes fits 16 signed bits.
    const std::uint16_t near = distance(row[x], row[x - 1]) <= gates.step ? 0xffff : 0;
    const std::uint16_t far = distance(after[x], before[x]) <= gates.reach ? 0xffff : 0;
    const auto mask = static_cast<std::uint16_t>(near & far);
    sums[x] += static_cast<std::int16_t>(static_cast<std::uint16_t>(row[x] - row[x - 1]) & mask);
    voters[x] = static_cast<std::uint16_t>(voters[x] - mask);
  }
}

/// The value at `place` of the line through the window's columns, 0 the first.
double lineThrough(std::span<const double> window, double place) {
  const double middle = 0.5 * static_cast<double>(window.size() - 1);
  double sum = 0.0, moment = 0.0, spread = 0.0;
  for (std::size_t i = 0; i < window.size(); ++i) {
    const double distance = static_cast<double>(i) - middle;
    sum += window[i];
    moment += distance * window[i];
    spread += distance * distance;
  }
  return sum / static_cast<double>(window.size()) + moment / spread * (place - middle);
}

}  // namespace

std::size_t columnSampleSize(std::uint32_t width, std::uint32_t height) {
  return std::size_t{std::min(height, kSampledRows)} * width;
}

StepGates measureColumnGates(ImageView<const std::uint16_t> image, std::span<std::uint16_t> sample) {
  const std::uint32_t rows = std::min(image.height, kSampledRows);
  std::size_t used = 0;
  for (std::uint32_t i = 0; i < rows; ++i) {
    const std::uint16_t* row = image.row(static_cast<std::uint32_t>(std::uint64_t{i} * image.height / rows));
    for (std::uint32_t x = 1; x < image.width; ++x) sample[used + x - 1] = distance(row[x], row[x - 1]);
    used += image.width - 1;
  }
  const float step = kGateSigmas * kSigmaPerMedian * medianMagnitude(sample.first(used));
  return {gate(step), gate(kReachShare * step)};
}

void sumColumnSteps(ImageView<const std::uint16_t> image, StepGates gates, RowBand columns,
                    ColumnSteps& steps) {
  std::fill(steps.sums.begin() + columns.first, steps.sums.begin() + columns.end, 0);
  std::fill(steps.voters.begin() + columns.first, steps.voters.begin() + columns.end, std::uint16_t{0});
  if (image.width < kStripeWindow) return;
  // Near the sides the reach ends at the outermost column; between these places nothing needs limiting.
  const std::uint32_t inner = std::clamp(kBefore, columns.first, columns.end);
  const std::uint32_t outer = std::clamp(image.width - kAfter, inner, columns.end);
  const auto addColumn = [&](const std::uint16_t* row, std::uint32_t x) {
    const std::uint32_t before = x < kBefore ? 0 : x - kBefore;
    const std::uint32_t after = std::min(x + kAfter, image.width - 1);
    addVotes(row, row + before - x, row + after - x, gates, x, x + 1, steps.sums.data(), steps.voters.data());
  };
  for (std::uint32_t y = 0; y < image.height; ++y) {
    const std::uint16_t* row = image.row(y);
    for (std::uint32_t x = std::max(columns.first, 1u); x < inner; ++x) addColumn(row, x);
    addVotes(row, row - kBefore, row + kAfter, gates, inner, outer, steps.sums.data(), steps.voters.data());
    for (std::uint32_t x = outer; x < columns.end; ++x) addColumn(row, x);
  }
}

void integrateColumnSteps(const ColumnSteps& steps, std::uint32_t height, std::span<double> profile,
                          std::span<float> offsets) {
  const std::size_t width = offsets.size();
  if (width < kStripeWindow) return std::fill(offsets.begin(), offsets.end(), 0.0f);
  double level = 0.0;
  for (std::size_t x = 0; x < width; ++x) {
    const std::uint32_t voters = steps.voters[x];
    if (voters != 0 && voters * 8 >= height) level += static_cast<double>(steps.sums[x]) / voters;
    profile[x] = level;
  }
  for (std::size_t x = 0; x < width; ++x) {
    const std::size_t first = std::min(x < kHalfWindow ? 0 : x - kHalfWindow, width - kStripeWindow);
    // In the middle of its window the line gives the plain mean. At the sides, where the window cannot be
    // centred, it keeps a sloping scene from passing for a stripe.
    const double trend = lineThrough(profile.subspan(first, kStripeWindow), static_cast<double>(x - first));
    offsets[x] = std::clamp(static_cast<float>(profile[x] - trend), -kLargestOffset, kLargestOffset);
  }
}

void ColumnShifts::round(std::span<const float> offsets) {
  for (std::size_t x = 0; x < offsets.size(); ++x) {
    lower[x] = roundToU16(std::max(offsets[x], 0.0f));
    raise[x] = roundToU16(std::max(-offsets[x], 0.0f));
  }
}

void shiftColumns(ImageView<std::uint16_t> image, const ColumnShifts& shifts, RowBand rows) {
  const std::uint16_t* __restrict lower = shifts.lower.data();
  const std::uint16_t* __restrict raise = shifts.raise.data();
  for (std::uint32_t y = rows.first; y < rows.end; ++y) {
    std::uint16_t* __restrict row = image.row(y);
    for (std::uint32_t x = 0; x < image.width; ++x) {
      const auto lowered = static_cast<std::uint16_t>(std::max(row[x], lower[x]) - lower[x]);
      const auto room = static_cast<std::uint16_t>(65535 - raise[x]);
      row[x] = static_cast<std::uint16_t>(std::min(lowered, room) + raise[x]);
    }
  }
}

}  // namespace kernels
