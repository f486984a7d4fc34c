#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "calibration/ffcPixelPolyfit.h"

namespace kernels {

/// The temperature terms of the polynomials. Powers and logarithm are formed in double, then rounded.
struct PolynomialTerms {
  explicit PolynomialTerms(float temperatureK);

  float first;      ///< Tk
  float second;     ///< Tk^2
  float third;      ///< Tk^3
  float logarithm;  ///< ln Tk
};

/// Smallest and largest of some values. No value yet: low > high. What is not finite is passed over.
struct ValueRange {
  float low = std::numeric_limits<float>::max();
  float high = std::numeric_limits<float>::lowest();

  bool known() const { return low <= high; }
  void add(std::span<const float> values);
  void add(const ValueRange& other);
};

/// Evaluates the polynomials pixel by pixel. gain: the reciprocal of the polynomial, not finite where that is
/// 0. All three have the same length. False, with nothing written, for the unknown model.
bool evaluatePolynomials(std::span<const ffcPixelPolyfit> coefficients, PolynomialModel model,
                         const PolynomialTerms& terms, std::span<float> gain, std::span<float> offset);

/// Radiometric levels per kelvin and the temperature of level 0.
struct LevelScale {
  LevelScale(float rangeMinK, float rangeSpanK) : minK(rangeMinK), levelsPerKelvin(65535.0f / rangeSpanK) {}
  float minK;
  float levelsPerKelvin;
};

/// pixel = ((pixel - offset) * gain - minK) * levelsPerKelvin, in place, limited to 0..65535 and truncated.
/// A pixel whose gain is not finite becomes 0. All three have the same length.
void applyGainAndOffset(std::span<std::uint16_t> pixels, std::span<const float> gain,
                        std::span<const float> offset, const LevelScale& scale);

}  // namespace kernels
