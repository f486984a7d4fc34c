#include "processing/kernels/flatFieldTables.h"

#include <algorithm>
#include <bit>

#include "common/numerics.h"
#include "common/vectorised.h"
#include "processing/kernels/stripes.h"

namespace kernels {

namespace {

constexpr float kFullScale = 65535.0f;

/// Sums below this are exact in single precision, and so is their truncated quotient: (k * N - 1) / N lies
/// further below k than half the spacing of floats there.
constexpr std::uint32_t kExactSums = 1u << 24;
/// Below this a sum converts as a signed integer, which is one instruction on every machine.
constexpr std::uint32_t kSignedSums = 1u << 31;

/// A bound of the values; one OR per value is cheaper than a maximum.
OMBRIX_INLINE std::uint32_t allBits(const std::uint32_t* values, std::uint32_t count) {
  std::uint32_t bits = 0;
  for (std::uint32_t x = 0; x < count; ++x) bits |= values[x];
  return bits;
}

struct OffsetRule {
  std::uint32_t target;
  std::uint32_t frames;
  float weight;  ///< of the high table
};

std::int64_t offsetOf(float sum, const OffsetRule& rule) {
  const std::uint32_t level = truncateToU32(static_cast<double>(sum)) / rule.frames;
  return std::int64_t{rule.target} - level;
}

std::uint16_t offsetPixel(std::uint16_t raw, float sum, const OffsetRule& rule) {
  return saturateToU16(std::int64_t{raw} + offsetOf(sum, rule));
}

/// For sums below kExactSums: the same results, in lanes. sumAt(x) gives whole numbers as int32.
template <typename SumAt>
OMBRIX_INLINE void offsetRow(std::uint16_t* pixels, std::uint32_t width, const OffsetRule& rule,
                             SumAt sumAt) {
  constexpr std::uint32_t kBeyondAnyResult = 1u << 30;
  const auto target = static_cast<std::int32_t>(std::min(rule.target, kBeyondAnyResult));
  const float frames = static_cast<float>(rule.frames);
  for (std::uint32_t x = 0; x < width; ++x) {
    const auto level = static_cast<std::int32_t>(static_cast<float>(sumAt(x)) / frames);
    pixels[x] = static_cast<std::uint16_t>(std::clamp(pixels[x] - level + target, 0, 65535));
  }
}

OMBRIX_VECTORISED
void offsetRow(std::uint16_t* pixels, const std::uint32_t* sums, std::uint32_t width,
               const OffsetRule& rule) {
  if (allBits(sums, width) < kExactSums) {
    offsetRow(pixels, width, rule, [sums](std::uint32_t x) { return static_cast<std::int32_t>(sums[x]); });
    return;
  }
  for (std::uint32_t x = 0; x < width; ++x) {
    pixels[x] = offsetPixel(pixels[x], static_cast<float>(sums[x]), rule);
  }
}

OMBRIX_VECTORISED
void offsetRow(std::uint16_t* pixels, const std::uint32_t* low, const std::uint32_t* high,
               std::uint32_t width, const OffsetRule& rule) {
  const float highPart = rule.weight;
  const float lowPart = 1.0f - rule.weight;
  if ((allBits(low, width) | allBits(high, width)) < kExactSums) {
    offsetRow(pixels, width, rule, [=](std::uint32_t x) {
      const float lowSum = static_cast<float>(static_cast<std::int32_t>(low[x]));
      const float highSum = static_cast<float>(static_cast<std::int32_t>(high[x]));
      return static_cast<std::int32_t>(lowPart * lowSum + highPart * highSum);
    });
    return;
  }
  for (std::uint32_t x = 0; x < width; ++x) {
    const float sum = lowPart * static_cast<float>(low[x]) + highPart * static_cast<float>(high[x]);
    pixels[x] = offsetPixel(pixels[x], sum, rule);
  }
}

/// What the two-reference correction does not recompute per pixel.
struct ReferenceRule {
  float frames;
  float high, low;       ///< weights of the high and the low tables
  float aboveRangeMinK;  ///< of the 25 degC reference
  bool powerOfTwo;       ///< N is: its reciprocal is exact and multiplies in a fraction of the time
};

struct ReferenceRow {
  const std::uint32_t *low25, *high25, *low50, *high50;
};

template <typename Convert, typename Divide>
OMBRIX_INLINE void fitPixels(const ReferenceRow& row, std::uint32_t width, const ReferenceRule& rule,
                             Convert convert, Divide byFrames, float* __restrict levelAtMin,
                             float* __restrict kelvinPerCount) {
  constexpr float kReferenceDistanceK = 25.0f;
  const auto [low25, high25, low50, high50] = row;
  const float high = rule.high, low = rule.low, aboveRangeMinK = rule.aboveRangeMinK;
  for (std::uint32_t x = 0; x < width; ++x) {
    const float at25 = high * convert(high25[x]) + low * convert(low25[x]);
    const float at50 = high * convert(high50[x]) + low * convert(low50[x]);
    const float level25 = byFrames(at25);
    const float gain = kReferenceDistanceK / byFrames(at50 - at25);
    levelAtMin[x] = level25 - aboveRangeMinK / gain;
    kelvinPerCount[x] = gain;
  }
}

OMBRIX_VECTORISED
void fitRow(const ReferenceRow& row, std::uint32_t width, const ReferenceRule& rule, float* levelAtMin,
            float* kelvinPerCount) {
  const std::uint32_t bits = allBits(row.low25, width) | allBits(row.high25, width) |
                             allBits(row.low50, width) | allBits(row.high50, width);
  const auto convert = [](std::uint32_t sum) { return static_cast<float>(static_cast<std::int32_t>(sum)); };
  const auto divide = [frames = rule.frames](float sum) { return sum / frames; };
  if (bits >= kSignedSums) {
    const auto convertAny = [](std::uint32_t sum) { return static_cast<float>(sum); };
    fitPixels(row, width, rule, convertAny, divide, levelAtMin, kelvinPerCount);
  } else if (rule.powerOfTwo) {
    const auto multiply = [share = 1.0f / rule.frames](float sum) { return sum * share; };
    fitPixels(row, width, rule, convert, multiply, levelAtMin, kelvinPerCount);
  } else {
    fitPixels(row, width, rule, convert, divide, levelAtMin, kelvinPerCount);
  }
}

/// scale: output levels per kelvin.
OMBRIX_VECTORISED
void applyReferences(std::uint16_t* pixels, std::size_t count, const float* levelAtMin,
                     const float* kelvinPerCount, float scale) {
  for (std::size_t i = 0; i < count; ++i) {
    const float result = (static_cast<float>(pixels[i]) - levelAtMin[i]) * scale * kelvinPerCount[i];
    // Two comparisons that NaN fails: it ends at 0.
    const float positive = result > 0.0f ? result : 0.0f;
    pixels[i] = truncateLimitedToU16(positive < kFullScale ? positive : kFullScale);
  }
}

}  // namespace

void accumulateFrame(ImageView<const std::uint16_t> frame, ImageView<std::uint32_t> table) {
  for (std::uint32_t y = 0; y < frame.height; ++y) {
    const std::uint16_t* levels = frame.row(y);
    std::uint32_t* sums = table.row(y);
    for (std::uint32_t x = 0; x < frame.width; ++x) sums[x] += levels[x];
  }
}

void correctOffset(ImageView<std::uint16_t> image, TableView table, std::uint32_t target,
                   std::uint16_t frames) {
  const OffsetRule rule{target, frames, 0.0f};
  for (std::uint32_t y = 0; y < image.height; ++y) offsetRow(image.row(y), table.row(y), image.width, rule);
}

bool tabulateShifts(TableView table, std::uint32_t target, std::uint16_t frames,
                    std::span<std::int16_t> shifts) {
  constexpr std::int64_t kLargest = 32767;
  const OffsetRule rule{target, frames, 0.0f};
  for (std::size_t i = 0; i < shifts.size(); ++i) {
    const std::int64_t offset = offsetOf(static_cast<float>(table.data[i]), rule);
    if (offset < -kLargest || offset > kLargest) return false;
    shifts[i] = static_cast<std::int16_t>(offset);
  }
  return true;
}

OMBRIX_VECTORISED
void shiftPixels(std::span<std::uint16_t> pixels, std::span<const std::int16_t> shifts) {
  std::uint16_t* __restrict levels = pixels.data();
  const std::int16_t* __restrict offsets = shifts.data();
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    // In lanes as narrow as the levels, which saturate at either end.
    const auto raise = static_cast<std::uint16_t>(std::max<std::int16_t>(offsets[i], 0));
    const auto lower = static_cast<std::uint16_t>(raise - static_cast<std::uint16_t>(offsets[i]));
    levels[i] = shiftLevel(levels[i], {lower, raise});
  }
}

void correctOffset(ImageView<std::uint16_t> image, TableView low, TableView high, std::uint32_t target,
                   std::uint16_t frames, float weight) {
  const OffsetRule rule{target, frames, weight};
  for (std::uint32_t y = 0; y < image.height; ++y) {
    offsetRow(image.row(y), low.row(y), high.row(y), image.width, rule);
  }
}

void showTable(TableView table, std::uint16_t frames, ImageView<std::uint16_t> image) {
  for (std::uint32_t y = 0; y < image.height; ++y) {
    const std::uint32_t* sums = table.row(y);
    std::uint16_t* pixels = image.row(y);
    for (std::uint32_t x = 0; x < image.width; ++x) pixels[x] = saturateToU16(sums[x] / frames);
  }
}

void showValues(ImageView<const float> values, float low, float high, ImageView<std::uint16_t> image) {
  const float span = high - low;
  for (std::uint32_t y = 0; y < image.height; ++y) {
    const float* row = values.row(y);
    std::uint16_t* pixels = image.row(y);
    for (std::uint32_t x = 0; x < image.width; ++x) {
      const float share = span > 0.0f ? (row[x] - low) / span : 0.0f;
      pixels[x] = truncateToU16(static_cast<double>(share * kFullScale));
    }
  }
}

void correctWithReferences(ImageView<std::uint16_t> image, const ReferenceTables& tables,
                           std::uint16_t frames, float weight, float rangeMinK, float rangeSpanK,
                           const PixelReferences& references) {
  constexpr float kLowerReferenceK = 298.15f;
  const ReferenceRule rule{static_cast<float>(frames), weight, 1.0f - weight, kLowerReferenceK - rangeMinK,
                           std::has_single_bit(frames)};
  for (std::uint32_t y = 0; y < image.height; ++y) {
    const ReferenceRow row{tables.low25.row(y), tables.high25.row(y), tables.low50.row(y),
                           tables.high50.row(y)};
    float* const levelAtMin = references.levelAtMin.data() + std::size_t{y} * image.width;
    float* const kelvinPerCount = references.kelvinPerCount.data() + std::size_t{y} * image.width;
    fitRow(row, image.width, rule, levelAtMin, kelvinPerCount);
    applyReferences(image.row(y), image.width, levelAtMin, kelvinPerCount, kFullScale / rangeSpanK);
  }
}

void correctWithReferences(ImageView<std::uint16_t> image, const PixelReferences& references,
                           float rangeSpanK) {
  applyReferences(image.data, image.pixelCount(), references.levelAtMin.data(),
                  references.kelvinPerCount.data(), kFullScale / rangeSpanK);
}

}  // namespace kernels
