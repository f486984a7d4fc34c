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
  for (std::size_t level = 0; level < kLevels; ++level) {
    // Most levels of a frame are empty, and those leave the sum as it is to the bit.
    if (counts[level] != 0) sum = static_cast<float>(std::min(counts[level], limit)) / scale + sum;
    contrast[level] = sum;
  }
}

}  // namespace kernels
