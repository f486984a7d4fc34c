#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "common/numerics.h"
#include "processing/kernels/interpolation.h"

namespace kernels {

namespace {

constexpr std::uint32_t kMostTaps = 6;

std::uint32_t tapCount(Interpolation method) {
  switch (method) {
    case Interpolation::nearest:
      return 1;
    case Interpolation::catmullRom:
      return 4;
    case Interpolation::lanczos3:
      return kMostTaps;
    default:
      return 2;
  }
}

double sinc(double x) {
  const double angle = std::numbers::pi * x;
  return x == 0.0 ? 1.0 : std::sin(angle) / angle;
}

/// Weight of a pixel `distance` pixels away.
double weightAt(Interpolation method, double distance) {
  const double d = std::abs(distance);
  switch (method) {
    case Interpolation::nearest:
      return 1.0;
    case Interpolation::catmullRom:
      if (d < 1.0) return (1.5 * d - 2.5) * d * d + 1.0;
      return d < 2.0 ? ((-0.5 * d + 2.5) * d - 4.0) * d + 2.0 : 0.0;
    case Interpolation::lanczos3:
      return d < 3.0 ? sinc(d) * sinc(d / 3.0) : 0.0;
    default:
      return std::max(1.0 - d, 0.0);
  }
}

/// The weights of one output pixel that lies at `position` of the source.
void weighPixel(AxisWeights& axis, Interpolation method, std::uint32_t index, double position) {
  const auto last = static_cast<std::int32_t>(axis.first.size()) - 1;
  const auto taps = static_cast<std::int32_t>(tapCount(method));
  // Half of the taps lie left of the position; the nearest pixel is the one it falls into.
  const double left = method == Interpolation::nearest ? position + 0.5 : position;
  const std::int32_t base = truncateToI32(std::floor(left)) - (taps - 1) / 2;
  std::array<double, kMostTaps> weights{};
  double sum = 0.0;
  for (std::int32_t k = 0; k < taps; ++k) {
    weights[static_cast<std::size_t>(k)] = weightAt(method, base + k - position);
    sum += weights[static_cast<std::size_t>(k)];
  }
  // Taps beyond an edge give their weight to the edge pixel, and no pixel stands in for them: it would
  // widen the range that results are limited to.
  const std::int32_t start = std::clamp(base, 0, last);
  const std::int32_t end = std::clamp(base + taps, 1, last + 1);
  std::array<double, kMostTaps> folded{};
  for (std::int32_t k = 0; k < taps; ++k) {
    const std::int32_t pixel = std::clamp(base + k, 0, last);
    folded[static_cast<std::size_t>(pixel - start)] += weights[static_cast<std::size_t>(k)] / sum;
  }
  axis.first[index] = static_cast<std::uint32_t>(start);
  axis.count[index] = static_cast<std::uint32_t>(end - start);
  for (std::uint32_t k = 0; k < axis.count[index]; ++k) {
    axis.weights[std::size_t{index} * axis.taps + k] = static_cast<float>(folded[k]);
  }
}

void weighAxis(AxisWeights& axis, Interpolation method, double zoom, std::uint32_t length) {
  axis.taps = tapCount(method);
  axis.first.resize(length);
  axis.count.resize(length);
  axis.weights.resize(std::size_t{length} * axis.taps);
  const double middle = 0.5 * length;
  for (std::uint32_t i = 0; i < length; ++i) {
    const double position = (i + 0.5 - middle) / zoom + middle - 0.5;
    // Farther out only the edge pixel counts, and the position stays within the integers.
    weighPixel(axis, method, i, std::clamp(position, -8.0, length + 8.0));
  }
}

}  // namespace

void InterpolationWeights::prepare(float zoomFactor, std::uint8_t interpolation, std::uint32_t imageWidth,
                                   std::uint32_t imageHeight) {
  const float wanted = std::isfinite(zoomFactor) && zoomFactor > 0.0f ? zoomFactor : 1.0f;
  const auto chosen = interpolation > 3 ? Interpolation::bilinear : Interpolation{interpolation};
  if (wanted == zoom && chosen == method && imageWidth == width && imageHeight == height) return;
  zoom = wanted;
  method = chosen;
  width = imageWidth;
  height = imageHeight;
  weighAxis(columns, method, double{zoom}, width);
  weighAxis(rows, method, double{zoom}, height);
}

}  // namespace kernels
