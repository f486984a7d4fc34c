#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "common/rgb.h"

/// The final colour of every 16-bit level. Each fills four bytes, which a kernel moves at once.
struct ColorTable {
  static constexpr std::size_t kLevels = 65536;
  static constexpr std::size_t kEntryBytes = 4;
  struct Entry {
    rgb_24b color;
    std::uint8_t unused = 0;
  };
  static_assert(sizeof(Entry) == kEntryBytes);

  rgb_24b& operator[](std::size_t level) { return entries[level].color; }
  const rgb_24b& operator[](std::size_t level) const { return entries[level].color; }
  const std::uint8_t* bytes() const { return reinterpret_cast<const std::uint8_t*>(entries.data()); }

  alignas(kEntryBytes) std::array<Entry, kLevels> entries{};
};
