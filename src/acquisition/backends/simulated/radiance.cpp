#include "acquisition/backends/simulated/radiance.h"

#include <algorithm>
#include <cmath>

namespace simulation {
namespace {

constexpr double kBandK = 1428.0;  // hc / (k * 10.08 um): the middle of the long-wave band

double occupancy(double kelvin) { return 1.0 / std::expm1(kBandK / kelvin); }

}  // namespace

double radianceOf(double kelvin) {
  static const double zero = occupancy(kReferenceK);
  // d/dT 1/(e^(c/T) - 1) = W (1 + W) c / T^2
  static const double slope = zero * (1.0 + zero) * kBandK / (kReferenceK * kReferenceK);
  return (occupancy(std::max(kelvin, 1.0)) - zero) / slope;
}

}  // namespace simulation
