#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "common/numerics.h"
#include "common/vectorised.h"
#include "common/views.h"
#include "processing/rowBands.h"

// What the removal of column stripes and that of row stripes have in common.
namespace kernels {

/// A stripe runs through the whole image, an object of the scene seldom does. Each column (row) is therefore
/// measured in this many segments of its length, one by one.
constexpr std::uint32_t kStripeSegments = 8;

/// Rows (columns) of a segment; empty where there are fewer of them than segments.
constexpr RowBand stripeSegment(std::uint32_t segment, std::uint32_t length) {
  const auto start = [length](std::uint64_t s) {
    return static_cast<std::uint32_t>(s * length / kStripeSegments);
  };
  return {start(segment), start(segment + std::uint64_t{1})};
}

/// The offsets of all columns (rows) by what the segments say.
class StripeOffsets {
 public:
  void allocate(std::size_t stripes) { count = stripes, values.assign(kStripeSegments * count, 0.0f); }
  /// What a segment says, one offset in levels per stripe; 0 where it cannot tell.
  std::span<float> segment(std::size_t s) { return {values.data() + s * count, count}; }
  /// Ends a measurement: puts each stripe's values in order.
  void sort();
  /// After `sort`: what remains of a stripe's offset when `removed` levels of it are gone. It is the median
  /// of the segments, but goes from 0 no further than six of the eight do (and a level, for noise), nor
  /// beyond `limit`. 0 for a stripe on which no segment had a say.
  float remaining(std::size_t stripe, float removed, float limit) const {
    const float low = rank(2, stripe), high = rank(5, stripe);
    if (low == 0.0f && high == 0.0f) return 0.0f;
    const float median = 0.5f * (rank(3, stripe) + rank(4, stripe)) - removed;
    const float floor = std::min(high - removed, 0.0f) - 1.0f;
    const float ceiling = std::max(low - removed, 0.0f) + 1.0f;
    return std::clamp(std::clamp(median, floor, ceiling), -limit, limit);
  }

 private:
  float rank(std::size_t r, std::size_t stripe) const { return values[r * count + stripe]; }

  std::size_t count = 0;
  std::vector<float> values;  ///< segment by segment; once sorted, rank by rank
};

/// Rows of an image, evenly spread, that its noise is estimated from.
constexpr std::uint32_t sampledRows(std::uint32_t height) { return std::min(height, 32u); }
constexpr std::uint32_t sampledRow(std::uint32_t i, std::uint32_t height) {
  return static_cast<std::uint32_t>(std::uint64_t{i} * height / sampledRows(height));
}
constexpr std::size_t stripeSampleSize(std::uint32_t width, std::uint32_t height) {
  return std::size_t{sampledRows(height)} * width;
}

OMBRIX_INLINE std::uint16_t levelDistance(std::uint16_t a, std::uint16_t b) {
  return static_cast<std::uint16_t>(std::max(a, b) - std::min(a, b));
}

/// A rounded offset, split by sign because unsigned arithmetic saturates without branches.
struct LevelShift {
  static LevelShift of(float offset) {
    return {roundToU16(std::max(offset, 0.0f)), roundToU16(std::max(-offset, 0.0f))};
  }
  std::uint16_t lower = 0;  ///< levels to take away
  std::uint16_t raise = 0;  ///< levels to add
};

OMBRIX_INLINE std::uint16_t shiftLevel(std::uint16_t level, LevelShift shift) {
  const auto lowered = static_cast<std::uint16_t>(std::max(level, shift.lower) - shift.lower);
  const auto room = static_cast<std::uint16_t>(65535 - shift.raise);
  return static_cast<std::uint16_t>(std::min(lowered, room) + shift.raise);
}

}  // namespace kernels
