#include "processing/kernels/histogramGain.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "common/numerics.h"
#include "common/vectorised.h"
#include "processing/kernels/mappedCounts.h"
#include "processing/kernels/pixelwise.h"

namespace kernels {

namespace {

constexpr std::int32_t kTopLevel = static_cast<std::int32_t>(kLevels) - 1;
constexpr double kFullRange = kTopLevel;
constexpr std::int32_t kBins = 1024;
constexpr std::uint64_t kTrimmedPart = 512;   // one pixel in so many belongs to a tail, at either end
constexpr std::uint64_t kPlateauInMeans = 3;  // a bin counts for at most so many mean bins
constexpr int kRedistributions = 4;

/// A straight piece of the curve: `start` at level `first`, level outside [first, first + span].
struct Ramp {
  std::int32_t first = 0;
  std::int32_t span = 0;
  double start = 0.0;
  double slope = 0.0;

  double at(std::int32_t level) const {
    return start + slope * static_cast<double>(std::clamp(level - first, 0, span));
  }
};

/// The equalised share: bins of equal width, each with its rise in output levels, between two tails.
struct Equalisation {
  std::int32_t first = 0, last = 0;  ///< levels of the body
  std::int32_t width = 1;            ///< levels per bin; the last bin may have fewer
  std::int32_t bins = 0;
  std::array<double, kBins> rise{};
  double left = kFullRange;  ///< of the output range, not given to any bin

  std::int32_t begin(std::int32_t bin) const { return first + bin * width; }
  std::int32_t end(std::int32_t bin) const { return std::min(begin(bin) + width, last + 1); }
  double levels(std::int32_t bin) const { return static_cast<double>(end(bin) - begin(bin)); }
};

OMBRIX_VECTORISED
std::uint64_t sumOf(const std::uint32_t* counts, std::size_t size) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < size; ++i) sum += counts[i];
  return sum;
}

std::uint64_t sum(std::span<const std::uint32_t> counts) { return sumOf(counts.data(), counts.size()); }

constexpr std::size_t kStride = 256;  // levels that a search passes over at once

/// First level at which more than `trimmed` pixels have come by; there are more.
std::int32_t firstBeyond(ConstLevelCounts counts, std::uint64_t trimmed) {
  std::uint64_t passed = 0;
  std::size_t level = 0;
  for (std::uint64_t block; passed + (block = sumOf(&counts[level], kStride)) <= trimmed; passed += block) {
    level += kStride;
  }
  while ((passed += counts[level]) <= trimmed) ++level;
  return static_cast<std::int32_t>(level);
}

/// The same from the top.
std::int32_t lastBeyond(ConstLevelCounts counts, std::uint64_t trimmed) {
  std::uint64_t passed = 0;
  std::size_t level = kLevels;
  for (std::uint64_t block; passed + (block = sumOf(&counts[level - kStride], kStride)) <= trimmed;
       passed += block) {
    level -= kStride;
  }
  while ((passed += counts[--level]) <= trimmed) {
  }
  return static_cast<std::int32_t>(level);
}

/// The body of the histogram, cut into bins, with the plateau's share of each bin as its rise.
void equalise(ConstLevelCounts histogram, std::uint64_t pixels, Equalisation& body) {
  body.first = firstBeyond(histogram, pixels / kTrimmedPart);
  body.last = lastBeyond(histogram, pixels / kTrimmedPart);
  body.width = (body.last - body.first + kBins) / kBins;
  body.bins = (body.last - body.first + body.width) / body.width;

  std::array<std::uint64_t, kBins> counts{};
  std::uint64_t inside = 0, occupied = 0;
  for (std::int32_t bin = 0; bin < body.bins; ++bin) {
    const auto begin = static_cast<std::size_t>(body.begin(bin));
    const std::uint64_t count =
        sum(histogram.subspan(begin, static_cast<std::size_t>(body.end(bin)) - begin));
    counts[static_cast<std::size_t>(bin)] = count;
    inside += count;
    occupied += count != 0 ? 1 : 0;
  }
  const std::uint64_t plateau = std::max<std::uint64_t>(kPlateauInMeans * inside / occupied, 1);
  std::uint64_t clipped = 0;
  for (auto& count : counts) clipped += count = std::min(count, plateau);
  const double perPixel = kFullRange / static_cast<double>(clipped);
  for (std::size_t bin = 0; bin < counts.size(); ++bin) {
    body.rise[bin] = static_cast<double>(counts[bin]) * perPixel;
  }
}

/// Cuts the bins that rise too steeply and gives the excess to the others, evenly by level: gaps between
/// clusters of levels widen as well, which keeps warm and cold objects apart.
void limitSlopes(Equalisation& body, double steepest) {
  for (int round = 0; round <= kRedistributions; ++round) {
    double roomyLevels = 0.0;
    body.left = kFullRange;
    for (std::int32_t bin = 0; bin < body.bins; ++bin) {
      double& rise = body.rise[static_cast<std::size_t>(bin)];
      const double limit = steepest * body.levels(bin);
      if (rise < limit) roomyLevels += body.levels(bin);
      rise = std::min(rise, limit);
      body.left -= rise;
    }
    if (round == kRedistributions || roomyLevels == 0.0) break;
    const double gift = body.left / roomyLevels;
    for (std::int32_t bin = 0; bin < body.bins; ++bin) {
      double& rise = body.rise[static_cast<std::size_t>(bin)];
      if (rise < steepest * body.levels(bin)) rise += gift * body.levels(bin);
    }
  }
  body.left = std::max(body.left, 0.0);
}

Ramp linearShare(std::int32_t low, std::int32_t high, double steepest) {
  const std::int32_t span = std::max(high - low, 0);
  if (span == 0) return {low, 0, kFullRange / 2.0, 0.0};
  const double slope = std::min(kFullRange / span, steepest);
  return {low, span, std::max(kFullRange - slope * span, 0.0) / 2.0, slope};
}

/// Mixes the shares at a level.
struct Mixture {
  Ramp linear;
  double weight = 0.0;  ///< of the equalised share

  std::uint16_t outputLevel(double linearLevel, double equalisedLevel) const {
    constexpr double kRounding = 1e-6;  // keeps whole results whole when the last bit of a sum is lost
    const double mixed = linearLevel * (1.0 - weight) + equalisedLevel * weight;
    // Both shares lie within the output range.
    return static_cast<std::uint16_t>(static_cast<std::int32_t>(mixed + kRounding));
  }
};

/// The output levels from `first` on, over which the equalised share rises in equal steps from `start`.
OMBRIX_VECTORISED
void writeRise(const Mixture& mixture, std::int32_t first, std::int32_t count, double start, double step,
               std::uint16_t* __restrict out) {
  const Mixture mixed = mixture;
  for (std::int32_t i = 0; i < count; ++i) {
    out[i] = mixed.outputLevel(mixed.linear.at(first + i), start + step * static_cast<double>(i));
  }
}

/// Writes both shares into the table, piece by piece of the equalised one.
class CurveWriter {
 public:
  CurveWriter(const Ramp& linearShare, double equalisedWeight, GainTable target)
      : mixture{linearShare, equalisedWeight}, table(target) {}

  /// Appends the levels up to `end`, over which both shares stay level.
  void appendFlat(std::int32_t end) {
    const auto begin = table.begin() + next;
    std::fill(begin, table.begin() + end, mixture.outputLevel(mixture.linear.at(next), equalised));
    next = end;
  }
  /// Appends the levels up to `end`, over which the equalised share rises by `rise`.
  void append(std::int32_t end, double rise) {
    const std::int32_t begin = next;
    if (end <= begin) return;
    // A level stands for the middle of its piece of the rise, so that the curve is symmetric.
    const double step = rise / static_cast<double>(end - begin);
    writeRise(mixture, begin, end - begin, equalised + 0.5 * step, step,
              &table[static_cast<std::size_t>(begin)]);
    equalised += rise;
    next = end;
  }
  void startAt(double level) { equalised = level; }

 private:
  const Mixture mixture;
  const GainTable table;
  std::int32_t next = 0;
  double equalised = 0.0;
};

/// What the two tails get of the room that the body leaves: half each, and what one has no use for.
std::pair<double, double> shareRoom(double room, double lowLimit, double highLimit) {
  const double low = std::min(lowLimit, std::max(room / 2.0, room - highLimit));
  return {low, std::min(highLimit, room - low)};
}

}  // namespace

void tabulateGain(ConstLevelCounts histogram, const GainSettings& settings, GainTable table) {
  const double steepest = std::max(settings.steepest, 1);
  const double weight = settings.weight > 0.0f ? std::min(static_cast<double>(settings.weight), 1.0) : 0.0;
  const Ramp linear = linearShare(settings.low, settings.high, steepest);
  const std::uint64_t pixels = sum(histogram);
  if (pixels == 0 || weight == 0.0) {
    CurveWriter writer(linear, 0.0, table);
    writer.appendFlat(linear.first);
    writer.append(linear.first + linear.span, 0.0);
    writer.appendFlat(kTopLevel + 1);
    return;
  }

  Equalisation body;
  equalise(histogram, pixels, body);
  limitSlopes(body, steepest);
  const std::int32_t tailBegin = std::min<std::int32_t>(settings.low, body.first);
  const std::int32_t tailEnd = std::max<std::int32_t>(settings.high, body.last) + 1;
  const auto [lowTail, highTail] =
      shareRoom(body.left, steepest * (body.first - tailBegin), steepest * (tailEnd - 1 - body.last));

  CurveWriter writer(linear, weight, table);
  writer.startAt((body.left - lowTail - highTail) / 2.0);
  writer.appendFlat(tailBegin);
  writer.append(body.first, lowTail);
  for (std::int32_t bin = 0; bin < body.bins; ++bin) {
    writer.append(body.end(bin), body.rise[static_cast<std::size_t>(bin)]);
  }
  writer.append(tailEnd, highTail);
  writer.appendFlat(kTopLevel + 1);
}

void correctImage(ImageView<const std::uint16_t> from, ImageView<std::uint16_t> to,
                  ConstLevelCounts histogram, const GainSettings& settings, GainTable table) {
  tabulateGain(histogram, settings, table);
  lookUpPixels(from.pixels(), to.pixels(), table);
}

OMBRIX_VECTORISED
void countMapped(ConstLevelCounts histogram, std::int32_t shift, ConstGainTable table, LevelCounts counts) {
  countThrough(histogram, shift, counts, [table](std::uint16_t level) { return table[level]; });
}

}  // namespace kernels
