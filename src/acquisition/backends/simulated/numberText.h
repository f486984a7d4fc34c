#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

namespace simulation {

/// Reads a whole number that is all of `text`. False, and nothing changed, when it is not within low..high.
inline bool parseWhole(std::string_view text, std::uint64_t low, std::uint64_t high, std::uint64_t& number) {
  std::uint64_t value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size() || value < low || value > high)
    return false;
  number = value;
  return true;
}

/// The same for a finite decimal number, whatever the locale.
inline bool parseReal(std::string_view text, double low, double high, double& number) {
  double value = 0.0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return false;
  if (!std::isfinite(value) || value < low || value > high) return false;
  number = value;
  return true;
}

}  // namespace simulation
