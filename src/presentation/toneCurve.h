#pragma once

#include <cstdint>
#include <vector>

/// The tone curve of a preset, as tables of 16-bit levels: one for exponents below 1, one for those above. A
/// table keeps what an earlier selection left until an exponent on its side of 1 is selected.
class ToneCurve {
 public:
  ToneCurve() : lowerTable(65536), upperTable(65536) {}

  /// Makes `exponent` the current one and fills its table, except the last entry, which is never written:
  /// 65535 bypasses the curve. 1 and NaN mean no curve and touch no table.
  void select(float exponent);

  float exponent() const { return selected; }
  const std::vector<std::uint16_t>& lower() const { return lowerTable; }
  const std::vector<std::uint16_t>& upper() const { return upperTable; }

  /// The level after the curve. 0 and 65535 stay.
  std::uint16_t apply(std::uint16_t level) const {
    if (level == 0 || level == 65535) return level;
    if (selected < 1.0f) return lowerTable[level];
    if (selected > 1.0f) return upperTable[level];
    return level;
  }

 private:
  float selected = 1.0f;
  float lowerHolds = 1.0f;  ///< the exponent that filled the table; 1 = none yet
  float upperHolds = 1.0f;
  std::vector<std::uint16_t> lowerTable;
  std::vector<std::uint16_t> upperTable;
};
