#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// How many levels a 16-bit pixel has; the size of every histogram and of the value table.
constexpr std::size_t kLevels = 65536;

/// One count per level, borrowed. Its size is part of the type: any pixel value is a valid index.
using LevelCounts = std::span<std::uint32_t, kLevels>;
using ConstLevelCounts = std::span<const std::uint32_t, kLevels>;
