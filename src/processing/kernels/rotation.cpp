#include "processing/kernels/rotation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace kernels {

namespace {

constexpr int kPositionBits = 32;  ///< of a position's fraction
constexpr int kWeightBits = 14;    ///< of a bilinear weight: a weighed level fits 30 bits

std::int64_t fixedPoint(double ratio) { return std::llround(ratio * 2147483648.0); }

/// A position limited to the axis 0 .. last, as two pixels and the weight of the second.
struct Between {
  Between(std::int64_t position, std::uint32_t last) {
    constexpr std::int64_t kOne = std::int64_t{1} << kPositionBits;
    const std::int64_t limited = std::clamp(position, std::int64_t{0}, last * kOne);
    first = static_cast<std::uint32_t>(limited >> kPositionBits);
    second = std::min(first + 1, last);
    weight = static_cast<std::uint32_t>(limited) >> (kPositionBits - kWeightBits);
  }
  std::uint32_t first;
  std::uint32_t second;
  std::uint32_t weight;
};

std::uint32_t mix(std::uint16_t first, std::uint16_t second, std::uint32_t weight) {
  return first * ((1u << kWeightBits) - weight) + second * weight;
}

}  // namespace

RotationStep rotationStep(double degrees) {
  double angle = std::fmod(degrees, 360.0);
  if (angle < 0.0) angle += 360.0;
  constexpr std::int64_t one = std::int64_t{1} << 31;
  if (angle == 0.0 || angle == 360.0) return {one, 0};
  if (angle == 90.0) return {0, one};
  if (angle == 180.0) return {-one, 0};
  if (angle == 270.0) return {0, -one};
  const double radians = angle * std::numbers::pi / 180.0;
  return {fixedPoint(std::cos(radians)), fixedPoint(std::sin(radians))};
}

void rotateImage(ImageView<const std::uint16_t> in, ImageView<std::uint16_t> out, RotationStep step,
                 RowBand band) {
  const std::uint32_t lastColumn = in.width - 1;
  const std::uint32_t lastRow = in.height - 1;
  for (std::uint32_t y = band.first; y < band.end; ++y) {
    // Distances from the centre are counted in half pixels, which makes every one of them whole.
    const std::int64_t down = std::int64_t{2} * y - lastRow;
    const std::int64_t right = -std::int64_t{lastColumn};
    std::int64_t column = (std::int64_t{lastColumn} << 31) + step.cosine * right + step.sine * down;
    std::int64_t row = (std::int64_t{lastRow} << 31) - step.sine * right + step.cosine * down;
    std::uint16_t* const target = out.row(y);
    for (std::uint32_t x = 0; x < out.width; ++x) {
      const Between across(column, lastColumn);
      const Between along(row, lastRow);
      const std::uint16_t* const upper = in.row(along.first);
      const std::uint16_t* const lower = in.row(along.second);
      const std::uint64_t above = mix(upper[across.first], upper[across.second], across.weight);
      const std::uint64_t below = mix(lower[across.first], lower[across.second], across.weight);
      const std::uint64_t level = above * ((1u << kWeightBits) - along.weight) + below * along.weight;
      constexpr int levelBits = 2 * kWeightBits;
      target[x] = static_cast<std::uint16_t>((level + (1u << (levelBits - 1))) >> levelBits);
      column += 2 * step.cosine;
      row -= 2 * step.sine;
    }
  }
}

}  // namespace kernels
