#pragma once

#include <cstdint>
#include <span>

#include "processing/levels.h"

namespace kernels {

/// A 16-bit level for each of the 65,536 levels.
using LevelTable = std::span<const std::uint16_t, kLevels>;

/// Moves frame and running average to average * alpha + frame * (1 - alpha), truncated. Both have the same
/// length. alpha: weight of the past, 0 to 1.
void averagePixels(std::span<std::uint16_t> frame, std::span<std::uint16_t> average, float alpha);

/// Writes every level's table entry.  from, to: of one length; may be the same pixels, must not overlap
/// otherwise.
void lookUpPixels(std::span<const std::uint16_t> from, std::span<std::uint16_t> to, LevelTable table);
/// The same in place.
inline void lookUpPixels(std::span<std::uint16_t> pixels, LevelTable table) {
  lookUpPixels(pixels, pixels, table);
}

}  // namespace kernels
