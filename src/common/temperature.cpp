#include "common/temperature.h"

#include <cmath>
#include <limits>

bool isBlackBody(float emissivity) {
  return std::fabs(emissivity - 1.0f) <= std::fabs(emissivity) * std::numeric_limits<float>::min();
}

float toCelsius(float kelvin, float emissivity) {
  if (!(emissivity > 0.0f) || !std::isfinite(emissivity)) return -kZeroCelsiusInK;
  if (isBlackBody(emissivity)) return kelvin - kZeroCelsiusInK;
  const double radiance = std::pow(static_cast<double>(kelvin), 4.0) / static_cast<double>(emissivity);
  return static_cast<float>(std::pow(radiance, 0.25)) - kZeroCelsiusInK;
}
