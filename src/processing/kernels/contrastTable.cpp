#include "processing/kernels/contrastTable.h"

#include <algorithm>
#include <cstddef>

#include "common/numerics.h"
#include "common/vectorised.h"

namespace kernels {

namespace {

OMBRIX_VECTORISED
std::uint32_t clippedSum(ConstLevelCounts counts, std::uint32_t limit) {
  std::uint32_t sum = 0;
  for (const std::uint32_t count : counts) sum += std::min(count, limit);
  return sum;
}

}  // namespace

void tabulateContrast(ConstLevelCounts counts, std::size_t pixels, float clipFraction,
                      std::span<float, kLevels> contrast) {
  const std::uint32_t limit = truncateToU32(static_cast<double>(static_cast<float>(pixels) * clipFraction));
  const std::uint32_t total = clippedSum(counts, limit);
  if (total == 0) {
    for (std::size_t level = 0; level < kLevels; ++level) {
      contrast[level] = static_cast<float>(level) / 65535.0f;
    }
    return;
  }
  const float scale = static_cast<float>(total);
  float sum = 0.0f;
  constexpr std::size_t kBlock = 16;
  for (std::size_t begin = 0; begin < kLevels; begin += kBlock) {
    // Most levels of a frame are empty, and those leave the sum as it is to the bit.
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < kBlock; ++i) bits |= counts[begin + i];
    for (std::size_t i = 0; i < kBlock; ++i) {
      if (bits != 0 && counts[begin + i] != 0) {
        sum = static_cast<float>(std::min(counts[begin + i], limit)) / scale + sum;
      }
      contrast[begin + i] = sum;
    }
  }
}

}  // namespace kernels
