#pragma once

namespace simulation {

inline constexpr double kReferenceK = 298.15;  ///< where the radiance scale has its zero and unit slope

/// Band radiance of a black body at `kelvin`, in equivalent kelvin: 0 at 298.15 K with slope 1, steeper
/// above. 323.15 K gives 28.0253. Temperatures below 1 K count as 1 K.
double radianceOf(double kelvin);

/// The temperature in kelvin whose radiance this is; 0 for a radiance that no black body reaches.
double kelvinOf(double radiance);

}  // namespace simulation
