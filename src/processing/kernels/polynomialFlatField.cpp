#include "processing/kernels/polynomialFlatField.h"

#include <algorithm>
#include <cmath>

#include "common/numerics.h"

namespace kernels {

namespace {

/// One loop per model: the rule gives the gain polynomial and the offset of a pixel.
template <typename GainPolynomial, typename Offset>
void evaluate(std::span<const ffcPixelPolyfit> coefficients, std::span<float> gain, std::span<float> offset,
              GainPolynomial gainPolynomial, Offset offsetPolynomial) {
  for (std::size_t i = 0; i < coefficients.size(); ++i) {
    const ffcPixelPolyfit& c = coefficients[i];
    gain[i] = 1.0f / gainPolynomial(c);
    offset[i] = offsetPolynomial(c);
  }
}

}  // namespace

PolynomialTerms::PolynomialTerms(float temperatureK) : first(temperatureK) {
  const double t = static_cast<double>(temperatureK);
  second = static_cast<float>(t * t);
  third = static_cast<float>(t * t * t);
  logarithm = static_cast<float>(std::log(t));
}

void ValueRange::add(std::span<const float> values) {
  float smallest = low;
  float largest = high;
  for (const float value : values) {
    const bool finite = value - value == 0.0f;
    smallest = (finite & (value < smallest)) ? value : smallest;
    largest = (finite & (value > largest)) ? value : largest;
  }
  low = smallest;
  high = largest;
}

void ValueRange::add(const ValueRange& other) {
  low = std::min(low, other.low);
  high = std::max(high, other.high);
}

bool evaluatePolynomials(std::span<const ffcPixelPolyfit> coefficients, PolynomialModel model,
                         const PolynomialTerms& terms, std::span<float> gain, std::span<float> offset) {
  using Pixel = const ffcPixelPolyfit&;
  const float t1 = terms.first;
  const float square = terms.second;
  const float cube = terms.third;
  const float logarithm = terms.logarithm;
  const auto linearGain = [=](Pixel c) { return c.g0 + c.g1 * t1; };
  switch (model) {
    case PolynomialModel::linear:
      evaluate(coefficients, gain, offset, linearGain, [=](Pixel c) { return c.o0 + c.o1 * t1; });
      return true;
    case PolynomialModel::quadraticOffset:
      evaluate(coefficients, gain, offset, linearGain,
               [=](Pixel c) { return c.o0 + c.o1 * t1 + c.o2 * square; });
      return true;
    case PolynomialModel::cubic:
      evaluate(
          coefficients, gain, offset, [=](Pixel c) { return c.g0 + c.g1 * t1 + c.g2 * square; },
          [=](Pixel c) { return c.o0 + c.o1 * t1 + c.o2 * square + c.o3 * cube; });
      return true;
    case PolynomialModel::logarithmic:
      evaluate(
          coefficients, gain, offset, [=](Pixel c) { return c.g0 + c.g1 * t1 + c.g2 * logarithm; },
          [=](Pixel c) { return c.o0 + c.o1 * t1 + c.o2 * logarithm; });
      return true;
    case PolynomialModel::unknown:
      break;
  }
  return false;
}

void applyGainAndOffset(std::span<std::uint16_t> pixels, std::span<const float> gain,
                        std::span<const float> offset, const LevelScale& scale) {
  constexpr float kFullScale = 65535.0f;
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const float kelvin = (static_cast<float>(pixels[i]) - offset[i]) * gain[i];
    const float result = (kelvin - scale.minK) * scale.levelsPerKelvin;
    const bool finiteGain = gain[i] - gain[i] == 0.0f;
    // The comparisons send NaN to 0.
    const float positive = (finiteGain & (result > 0.0f)) ? result : 0.0f;
    pixels[i] = truncateLimitedToU16(positive < kFullScale ? positive : kFullScale);
  }
}

}  // namespace kernels
