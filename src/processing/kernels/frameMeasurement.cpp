#include "processing/kernels/frameMeasurement.h"

#include <algorithm>
#include <cstddef>

#include "common/numerics.h"

namespace kernels {

namespace {

LevelAt firstOccurrence(ImageView<const std::uint16_t> image, std::uint16_t level) {
  const auto pixels = image.pixels();
  const auto index =
      static_cast<std::size_t>(std::find(pixels.begin(), pixels.end(), level) - pixels.begin());
  return {level, static_cast<std::uint32_t>(index % image.width),
          static_cast<std::uint32_t>(index / image.width)};
}

}  // namespace

std::pair<std::uint16_t, std::uint16_t> levelRange(ImageView<const std::uint16_t> image) {
  std::uint16_t low = 65535;
  std::uint16_t high = 0;
  for (const std::uint16_t level : image.pixels()) {
    low = std::min(low, level);
    high = std::max(high, level);
  }
  return {low, high};
}

FrameMeasurement measureFrame(ImageView<const std::uint16_t> image, LevelCounts histogram) {
  std::fill(histogram.begin(), histogram.end(), 0u);
  float sum = 0.0f;
  for (const std::uint16_t level : image.pixels()) {
    sum += static_cast<float>(level);
    ++histogram[level];
  }
  // Looking for the extremes apart from the sum lets the compiler compare many pixels at once.
  const auto [low, high] = levelRange(image);
  return {firstOccurrence(image, low), firstOccurrence(image, high),
          truncateToU16(static_cast<double>(sum / static_cast<float>(image.pixelCount())))};
}

}  // namespace kernels
