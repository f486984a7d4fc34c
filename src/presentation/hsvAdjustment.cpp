#include "presentation/hsvAdjustment.h"

#include <algorithm>
#include <cmath>

#include "common/numerics.h"

namespace {

// All of this is in double; only what the HSV table keeps is rounded to float.
struct Hsv {
  double hue = 0.0;
  double saturation = 0.0;
  double value = 0.0;
};

Hsv toHsv(rgb_24b color) {
  const double r = color.r;
  const double g = color.g;
  const double b = color.b;
  const double max = std::max({r, g, b});
  const double delta = max - std::min({r, g, b});
  if (delta < 1e-5) return {0.0, 0.0, max};

  double sixths = 0.0;  // max is above 0 from here on, because delta is
  if (r >= max) {
    sixths = (g - b) / delta;
  } else if (g >= max) {
    sixths = (b - r) / delta + 2.0;
  } else {
    sixths = (r - g) / delta + 4.0;
  }
  const double hue = sixths * 60.0;
  return {hue < 0.0 ? hue + 360.0 : hue, delta / max, max};
}

double adjustValue(double max, double exponent) {
  const double x = max / 255.0;
  if (exponent < 1.0) return std::pow(x, exponent) * 255.0;
  // White stays white; the mirrored power would have to raise 0 to a power that may be negative.
  if (exponent > 1.0 && max < 255.0) {
    return std::min((1.0 - std::pow(1.0 - x, 2.0 - exponent)) * 255.0, 255.0);
  }
  return max;
}

rgb_24b bytes(double r, double g, double b) { return {truncateToU8(r), truncateToU8(g), truncateToU8(b)}; }

rgb_24b toRgb(const Hsv& hsv) {
  const double v = hsv.value;
  if (hsv.saturation <= 0.0) return bytes(v, v, v);
  const double turn = hsv.hue >= 360.0 ? 0.0 : hsv.hue / 60.0;
  const int sextant = truncateToI32(turn);
  const double f = turn - sextant;
  const double p = (1.0 - hsv.saturation) * v;
  const double q = (1.0 - hsv.saturation * f) * v;
  const double t = (1.0 - (1.0 - f) * hsv.saturation) * v;
  switch (sextant) {
    case 0:
      return bytes(v, t, p);
    case 1:
      return bytes(q, v, p);
    case 2:
      return bytes(p, v, t);
    case 3:
      return bytes(p, q, v);
    case 4:
      return bytes(t, p, v);
    default:
      return bytes(v, p, q);
  }
}

}  // namespace

AdjustedColor adjustColor(rgb_24b color, float saturationFactor, float brightnessExponent) {
  Hsv hsv = toHsv(color);
  hsv.value = adjustValue(hsv.value, static_cast<double>(brightnessExponent));
  hsv.saturation *= static_cast<double>(saturationFactor);
  return {toRgb(hsv),
          {static_cast<float>(hsv.hue), static_cast<float>(hsv.saturation), static_cast<float>(hsv.value)}};
}
