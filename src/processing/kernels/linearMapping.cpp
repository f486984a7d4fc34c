#include "processing/kernels/linearMapping.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "common/numerics.h"
#include "common/vectorised.h"

namespace kernels {

namespace {

constexpr float kFullScale = 65535.0f;

OMBRIX_VECTORISED
void mapPixels(std::span<std::uint16_t> pixels, std::int32_t low, std::int32_t high) {
  const float scale = kFullScale / static_cast<float>(high - low);
  for (std::uint16_t& pixel : pixels) {
    const std::int32_t above = std::max(pixel - low, 0);
    const float mapped = std::min(static_cast<float>(above) * scale, kFullScale);
    // At the upper bound the product falls short of full scale for about one span in seven.
    pixel = pixel >= high ? std::uint16_t{65535} : truncateLimitedToU16(mapped);
  }
}

}  // namespace

void mapLinear(ImageView<std::uint16_t> image, std::uint16_t low, std::uint16_t high, LevelCounts counts) {
  if (high < low) return;
  if (high == low) {
    std::fill_n(image.data, image.pixelCount(), std::uint16_t{65535});
  } else {
    mapPixels(image.pixels(), low, high);
  }
  countLevels(image, counts);
}

void countLevels(ImageView<const std::uint16_t> image, LevelCounts counts) {
  std::fill(counts.begin(), counts.end(), 0u);
  for (const std::uint16_t level : image.pixels()) ++counts[level];
}

void fillGaps(ConstLevelCounts counts, LevelCounts filled) {
  std::uint32_t last = 0;
  for (std::size_t level = 0; level < kLevels; ++level) {
    if (counts[level] != 0) last = counts[level];
    filled[level] = last;
  }
}

}  // namespace kernels
