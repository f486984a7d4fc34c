#include "acquisition/backends/simulated/optics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace simulation {
namespace {

constexpr double kBlurPixels = 0.6;

std::array<float, 2 * kBlurReach + 1> blurWeights() {
  std::array<double, 2 * kBlurReach + 1> weights{};
  double sum = 0.0;
  for (std::size_t i = 0; i < weights.size(); ++i) {
    const double distance = static_cast<double>(i) - kBlurReach;
    weights[i] = std::exp(-0.5 * distance * distance / (kBlurPixels * kBlurPixels));
    sum += weights[i];
  }
  std::array<float, weights.size()> result{};
  for (std::size_t i = 0; i < weights.size(); ++i) result[i] = static_cast<float>(weights[i] / sum);
  return result;
}

std::uint32_t neighbour(std::uint32_t position, std::size_t tap, std::uint32_t count) {
  const auto shifted = std::int64_t{position} + static_cast<std::int64_t>(tap) - kBlurReach;
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(shifted, 0, std::int64_t{count} - 1));
}

}  // namespace

Region grown(const Region& region, std::uint32_t margin, std::uint32_t width, std::uint32_t height) {
  if (region.empty()) return {};
  return {region.left > margin ? region.left - margin : 0, region.top > margin ? region.top - margin : 0,
          std::min(region.right + margin, width), std::min(region.bottom + margin, height)};
}

Region united(const Region& a, const Region& b) {
  if (a.empty() || b.empty()) return a.empty() ? b : a;
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
          std::max(a.bottom, b.bottom)};
}

void blur(ImageView<const float> sharp, ImageView<float> blurred, const Region& region) {
  static const auto weights = blurWeights();
  for (std::uint32_t y = region.top; y < region.bottom; ++y) {
    std::array<const float*, 2 * kBlurReach + 1> rows{};
    for (std::size_t tap = 0; tap < rows.size(); ++tap)
      rows[tap] = sharp.row(neighbour(y, tap, sharp.height));
    const auto vertical = [&](std::uint32_t x) {
      float sum = 0.0f;
      for (std::size_t tap = 0; tap < weights.size(); ++tap) sum += weights[tap] * rows[tap][x];
      return sum;
    };
    // The vertical sums of the columns around the pixel; each is used by five pixels.
    std::array<float, 2 * kBlurReach + 1> sums{};
    for (std::size_t tap = 0; tap < sums.size(); ++tap)
      sums[tap] = vertical(neighbour(region.left, tap, sharp.width));
    for (std::uint32_t x = region.left; x < region.right; ++x) {
      float sum = 0.0f;
      for (std::size_t tap = 0; tap < sums.size(); ++tap) sum += weights[tap] * sums[tap];
      blurred.at(x, y) = sum;
      for (std::size_t tap = 1; tap < sums.size(); ++tap) sums[tap - 1] = sums[tap];
      sums.back() = vertical(neighbour(x + 1, sums.size() - 1, sharp.width));
    }
  }
}

}  // namespace simulation
