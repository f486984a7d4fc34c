#pragma once

#include <cstdint>

// Every conversion of a computed value to an integer goes through one of these, because a bare cast
// is undefined out of range. Truncation is toward zero; NaN gives 0; other values saturate.

constexpr std::int64_t truncateWithin(double value, double low, double high, std::int64_t lowResult,
                                      std::int64_t highResult) {
  if (value != value) return 0;
  if (value <= low) return lowResult;
  if (value >= high) return highResult;
  return static_cast<std::int64_t>(value);
}

constexpr std::uint8_t truncateToU8(double value) {
  return static_cast<std::uint8_t>(truncateWithin(value, 0.0, 255.0, 0, 255));
}

constexpr std::uint16_t truncateToU16(double value) {
  return static_cast<std::uint16_t>(truncateWithin(value, 0.0, 65535.0, 0, 65535));
}

/// The same without the checks, for inner loops that have limited the value to 0..65535 already.
constexpr std::uint16_t truncateLimitedToU16(float value) {
  return static_cast<std::uint16_t>(static_cast<std::int32_t>(value));
}

/// Adds 0.5 in the precision of the argument, then truncates.
constexpr std::uint16_t roundToU16(float value) { return truncateToU16(static_cast<double>(value + 0.5f)); }

constexpr std::int32_t truncateToI32(double value) {
  return static_cast<std::int32_t>(
      truncateWithin(value, -2147483648.0, 2147483647.0, -2147483648LL, 2147483647LL));
}

constexpr std::uint32_t truncateToU32(double value) {
  return static_cast<std::uint32_t>(truncateWithin(value, 0.0, 4294967295.0, 0, 4294967295LL));
}

/// Limits an integer to 0..65535.
constexpr std::uint16_t saturateToU16(std::int64_t value) {
  return static_cast<std::uint16_t>(value < 0 ? 0 : value > 65535 ? 65535 : value);
}
