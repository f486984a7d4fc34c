#pragma once

#include <cstdint>
#include <vector>

#include "processing/levels.h"

/// Gain control: how corrected levels become the 16-bit output levels.
struct MappingState {
  static constexpr std::int32_t lutSize = static_cast<std::int32_t>(kLevels);

  std::int32_t mappingMode = 3;  ///< a value of `Ombrix::mapping`
  std::uint16_t mappingLow = 0;  ///< manual bounds of mode 2
  std::uint16_t mappingHigh = 65535;
  float mappingParameter = 0.75f;        ///< blend weight and clip fraction of modes 3 and 4
  float minMilliKelvinPerLevel = 20.0f;  ///< band of mode 4
  float maxMilliKelvinPerLevel = 60.0f;

  std::uint16_t shownLow = 0;       ///< the level that output level 0 shows, of the last mapped frame
  std::uint16_t shownHigh = 65535;  ///< the one that 65535 shows

  /// Pixels per output level. The published colour histogram and the histogram panel show it.
  std::vector<std::uint32_t> colorCounts = std::vector<std::uint32_t>(kLevels);
  /// `colorCounts` with every empty entry taking the value of the one before it. Made anew at each call: no
  /// stage needs it.
  std::vector<std::uint32_t> valueTable() const;
  /// Clipped cumulative distribution of the output levels, from near 0 to 1.
  std::vector<float> contrastTable = std::vector<float>(kLevels);

  /// Output level per level, of the last frame in mode 3 or 4.
  std::vector<std::uint16_t> gainTable = std::vector<std::uint16_t>(kLevels);

  bool levelCompensation = false;  ///< shift the frame against the drift of its mean before mapping
  std::int32_t levelShift = 0;     ///< by which the current frame was shifted since its histogram was taken
};
