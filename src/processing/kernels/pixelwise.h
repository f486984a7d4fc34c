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

/// Replaces every level by its table entry.
void lookUpPixels(std::span<std::uint16_t> pixels, LevelTable table);

}  // namespace kernels
