#pragma once

#include <cstdint>
#include <vector>

#include "processing/levels.h"

/// Gain control: how corrected levels become the 16-bit output levels.
struct MappingState {
  static constexpr std::int32_t lutSize = static_cast<std::int32_t>(kLevels);

  /// A value of `Ombrix::mapping`. Linear until the histogram gain control, the mode meant for opening, is
  /// there.
  std::int32_t mappingMode = 1;
  std::uint16_t mappingLow = 0;  ///< manual bounds of mode 2
  std::uint16_t mappingHigh = 65535;
  float mappingParameter = 0.75f;        ///< blend weight and clip fraction of modes 3 and 4
  float minMilliKelvinPerLevel = 20.0f;  ///< band of mode 4
  float maxMilliKelvinPerLevel = 60.0f;

  /// Pixels per output level. The published colour histogram and the histogram panel show it.
  std::vector<std::uint32_t> colorCounts = std::vector<std::uint32_t>(kLevels);
  /// `colorCounts` with every empty entry taking the value of the one before it.
  std::vector<std::uint32_t> valueTable = std::vector<std::uint32_t>(kLevels);
  /// Clipped cumulative distribution of the output levels, from near 0 to 1.
  std::vector<float> contrastTable = std::vector<float>(kLevels);

  bool levelCompensation = false;  ///< shift the frame against the drift of its mean before mapping
};
