#pragma once

#include <cstdint>

/// One colour pixel: three bytes in the order red, green, blue.
struct rgb_24b {
  std::uint8_t r = 0;
  std::uint8_t g = 0;
  std::uint8_t b = 0;

  friend bool operator==(const rgb_24b&, const rgb_24b&) = default;
};
static_assert(sizeof(rgb_24b) == 3);
