#include "presentation/toneCurve.h"

#include <cmath>
#include <cstddef>

#include "common/numerics.h"

namespace {

constexpr std::size_t kWrittenEntries = 65535;

/// x ^ c: lifts the low levels.
void fillLower(double c, std::vector<std::uint16_t>& table) {
  for (std::size_t v = 0; v < kWrittenEntries; v++) {
    const double x = static_cast<double>(v) / 65535.0;
    table[v] = truncateToU16(std::pow(x, c) * 65535.0);
  }
}

/// The same curve mirrored at both axes: lowers the low levels, spreads the high ones.
void fillUpper(double c, std::vector<std::uint16_t>& table) {
  for (std::size_t v = 0; v < kWrittenEntries; v++) {
    const double x = static_cast<double>(v) / 65535.0;
    table[v] = truncateToU16((1.0 - std::pow(1.0 - x, 2.0 - c)) * 65535.0);
  }
}

}  // namespace

void ToneCurve::select(float exponent) {
  selected = exponent;
  // The powers take milliseconds, so a table that already holds the curve is not filled again.
  if (exponent < 1.0f && exponent != lowerHolds) {
    fillLower(static_cast<double>(exponent), lowerTable);
    lowerHolds = exponent;
  } else if (exponent > 1.0f && exponent != upperHolds) {
    fillUpper(static_cast<double>(exponent), upperTable);
    upperHolds = exponent;
  }
}
