#include "processing/kernels/linearMapping.h"

#include <algorithm>
#include <cstddef>

#include "common/numerics.h"
#include "common/vectorised.h"
#include "processing/kernels/mappedCounts.h"

namespace kernels {

namespace {

constexpr float kFullScale = 65535.0f;

struct LinearRule {
  std::int32_t low;
  std::int32_t high;  ///< above low
  float scale = kFullScale / static_cast<float>(high - low);
};

OMBRIX_INLINE std::uint16_t mapLevel(std::uint16_t level, const LinearRule& rule) {
  const std::int32_t above = std::max(level - rule.low, 0);
  const float mapped = std::min(static_cast<float>(above) * rule.scale, kFullScale);
  // At the upper bound the product falls short of full scale for about one span in seven.
  return level >= rule.high ? std::uint16_t{65535} : truncateLimitedToU16(mapped);
}

OMBRIX_VECTORISED
void mapPixels(const std::uint16_t* from, std::uint16_t* to, std::size_t count, const LinearRule& rule) {
  const LinearRule steady = rule;  // no store to a pixel changes it
  OMBRIX_INDEPENDENT_ROUNDS
  for (std::size_t i = 0; i < count; ++i) to[i] = mapLevel(from[i], steady);
}

OMBRIX_VECTORISED
void countMappedLevels(ConstLevelCounts histogram, std::int32_t shift, const LinearRule& rule,
                       LevelCounts counts) {
  countThrough(histogram, shift, counts, [rule](std::uint16_t level) { return mapLevel(level, rule); });
}

}  // namespace

void mapLinear(ImageView<const std::uint16_t> from, ImageView<std::uint16_t> to, std::uint16_t low,
               std::uint16_t high) {
  if (high < low) return;
  if (high > low) return mapPixels(from.data, to.data, to.pixelCount(), {low, high});
  std::fill_n(to.data, to.pixelCount(), std::uint16_t{65535});
}

void countLinear(ConstLevelCounts histogram, std::int32_t shift, std::uint16_t low, std::uint16_t high,
                 LevelCounts counts) {
  if (high < low) return;
  if (high > low) return countMappedLevels(histogram, shift, {low, high}, counts);
  countThrough(histogram, shift, counts, [](std::uint16_t) { return std::uint16_t{65535}; });
}

void countShifted(ConstLevelCounts histogram, std::int32_t shift, LevelCounts counts) {
  countThrough(histogram, shift, counts, [](std::uint16_t level) { return level; });
}

void fillGaps(ConstLevelCounts counts, LevelCounts filled) {
  std::uint32_t last = 0;
  for (std::size_t level = 0; level < kLevels; ++level) {
    if (counts[level] != 0) last = counts[level];
    filled[level] = last;
  }
}

}  // namespace kernels
