#pragma once

#include <string_view>

/// Coefficients of one pixel: gain g and offset o as polynomials of the sensor temperature Tk in kelvin.
struct ffcPixelPolyfit {
  float g0 = 0.0f;  ///< gain: constant
  float g1 = 0.0f;  ///< of Tk
  float g2 = 0.0f;  ///< of Tk^2, or of log(Tk)
  float o0 = 0.0f;  ///< offset: constant
  float o1 = 0.0f;  ///< of Tk
  float o2 = 0.0f;  ///< of Tk^2, or of log(Tk)
  float o3 = 0.0f;  ///< of Tk^3
};

/// Which terms are in force. Files name a model by its formula text.
enum class PolynomialModel { unknown, linear, quadraticOffset, cubic, logarithmic };

inline constexpr std::string_view kLinearFormula = "g=g0+g1*Tk o=o0+o1*Tk";
inline constexpr std::string_view kQuadraticOffsetFormula = "g=g0+g1*Tk o=o0+o1*Tk+o2*Tk^2";
inline constexpr std::string_view kCubicFormula = "g=g0+g1*Tk+g2*Tk^2 o=o0+o1*Tk+o2*Tk^2+o3*Tk^3";
inline constexpr std::string_view kLogarithmicFormula = "g=g0+g1*Tk+g2*log(Tk) o=o0+o1*Tk+o2*log(Tk)";

/// The model that a formula names exactly.
constexpr PolynomialModel polynomialModel(std::string_view formula) {
  if (formula == kLinearFormula) return PolynomialModel::linear;
  if (formula == kQuadraticOffsetFormula) return PolynomialModel::quadraticOffset;
  if (formula == kCubicFormula) return PolynomialModel::cubic;
  if (formula == kLogarithmicFormula) return PolynomialModel::logarithmic;
  return PolynomialModel::unknown;
}
