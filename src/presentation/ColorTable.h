#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "common/rgb.h"

/// The final colour of every 16-bit level. One entry more than there are levels, so that a kernel may read a
/// fourth byte behind any colour.
struct ColorTable {
  static constexpr std::size_t kLevels = 65536;

  rgb_24b& operator[](std::size_t level) { return entries[level]; }
  const rgb_24b& operator[](std::size_t level) const { return entries[level]; }
  const std::uint8_t* bytes() const { return reinterpret_cast<const std::uint8_t*>(entries.data()); }

  std::array<rgb_24b, kLevels + 1> entries{};
};
