#include "processing/kernels/pixelwise.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "common/numerics.h"
#include "common/vectorised.h"

namespace kernels {

OMBRIX_VECTORISED
void averagePixels(std::span<std::uint16_t> frame, std::span<std::uint16_t> average, float alpha) {
  const float share = 1.0f - alpha;
  std::uint16_t* const now = frame.data();
  std::uint16_t* const past = average.data();
  for (std::size_t i = 0; i < frame.size(); ++i) {
    // At most one rounding error above 65535, which truncation drops.
    const float mixed = static_cast<float>(past[i]) * alpha + static_cast<float>(now[i]) * share;
    now[i] = past[i] = truncateLimitedToU16(mixed);
  }
}

void lookUpPixels(std::span<const std::uint16_t> from, std::span<std::uint16_t> to, LevelTable table) {
  // A few at a time: results wait beside the picture, so that no store stands between two look-ups.
  constexpr std::size_t kGroup = 8;
  const std::size_t whole = to.size() / kGroup * kGroup;
  for (std::size_t begin = 0; begin < whole; begin += kGroup) {
    std::array<std::uint16_t, kGroup> found;
    for (std::size_t i = 0; i < kGroup; ++i) found[i] = table[from[begin + i]];
    std::copy(found.begin(), found.end(), to.begin() + static_cast<std::ptrdiff_t>(begin));
  }
  for (std::size_t i = whole; i < to.size(); ++i) to[i] = table[from[i]];
}

}  // namespace kernels
