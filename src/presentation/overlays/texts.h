#pragma once

#include <cstdint>

#include "common/TextBuffer.h"
#include "common/temperature.h"
#include "processing/state/correctionState.h"

// The overlays' texts; their numbers read the same in every locale.
namespace overlays {

/// Room for the longest text: three numbers.
using Text = TextBuffer<160>;

constexpr char kDegree = '\xB0';     // ISO 8859-1, as the fonts are
constexpr char kPlusMinus = '\xB1';  // likewise

/// "%.<decimals>f" of a temperature, with "°C".
inline Text& appendCelsius(Text& text, float celsius, int decimals) {
  return text.fixed(celsius, decimals) << kDegree << 'C';
}

/// What a radiometric level stands for, degrees Celsius of a surface with the camera's emissivity.
inline float levelCelsius(const Radiometry& radiometry, std::uint16_t level) {
  const float kelvin = static_cast<float>(level) * radiometry.rangeSpanK / 65535.0f + radiometry.rangeMinK;
  return toCelsius(kelvin, radiometry.emissivity);
}

}  // namespace overlays
