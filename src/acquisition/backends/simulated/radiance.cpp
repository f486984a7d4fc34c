#include "acquisition/backends/simulated/radiance.h"

#include <algorithm>
#include <cmath>

namespace simulation {
namespace {

constexpr double kBandK = 1428.0;  // hc / (k * 10.08 um): the middle of the long-wave band

double occupancy(double kelvin) { return 1.0 / std::expm1(kBandK / kelvin); }

const double kZero = occupancy(kReferenceK);
// d/dT 1/(e^(c/T) - 1) = W (1 + W) c / T^2
const double kSlope = kZero * (1.0 + kZero) * kBandK / (kReferenceK * kReferenceK);

}  // namespace

double radianceOf(double kelvin) { return (occupancy(std::max(kelvin, 1.0)) - kZero) / kSlope; }

double kelvinOf(double radiance) {
  const double occupied = kZero + kSlope * radiance;
  return occupied > 0.0 ? kBandK / std::log1p(1.0 / occupied) : 0.0;
}

}  // namespace simulation
