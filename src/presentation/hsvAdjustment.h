#pragma once

#include "common/rgb.h"

/// A colour by hue (degrees, 0 up to 360), saturation (0 to 1) and value (0 to 255).
struct HsvColor {
  float hue = 0.0f;
  float saturation = 0.0f;
  float value = 0.0f;
};

struct AdjustedColor {
  rgb_24b color;
  HsvColor hsv;  ///< after the adjustment
};

/// Takes a colour to hue, saturation and value, multiplies the saturation by a factor, applies an exponent to
/// the value (below 1 brightens, above 1 up to 2 darkens less the nearer to white), and rebuilds the colour.
/// Factor and exponent 1 give the colour back, but for truncation: a channel may come out one lower.
AdjustedColor adjustColor(rgb_24b color, float saturationFactor, float brightnessExponent);
