#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "common/numerics.h"
#include "common/vectorised.h"
#include "processing/levels.h"

namespace kernels {

/// Counts the levels of a mapped image by those it had before: `map` gives the new level of each. histogram:
/// of the levels before they were shifted by `shift` (saturating) and mapped.  counts: cleared first.
template <typename Map>
OMBRIX_INLINE void countThrough(ConstLevelCounts histogram, std::int32_t shift, LevelCounts counts, Map map) {
  std::fill(counts.begin(), counts.end(), 0u);
  constexpr std::size_t kBlock = 16;
  for (std::size_t begin = 0; begin < kLevels; begin += kBlock) {
    // Most levels of a frame are empty: they are passed over many at a time.
    const std::uint32_t* const pixels = &histogram[begin];
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < kBlock; ++i) bits |= pixels[i];
    if (bits == 0) continue;
    for (std::size_t i = 0; i < kBlock; ++i) {
      const std::int64_t level = static_cast<std::int64_t>(begin + i) + shift;
      if (pixels[i] != 0) counts[map(saturateToU16(level))] += pixels[i];
    }
  }
}

}  // namespace kernels
