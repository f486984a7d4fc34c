#include <algorithm>

#include "common/numerics.h"
#include "processing/kernels/contrastTable.h"
#include "processing/kernels/histogramGain.h"
#include "processing/stages/gainModes.h"

namespace {

/// Output levels per level that the gain control never exceeds: one of 255 grey levels per 25 mK, half the
/// noise of these sensors. More would only show noise.
std::int32_t steepestSlope(const processData<unsigned short>& data) {
  constexpr double kGreyLevel = 257.0;
  constexpr double kKelvin = 0.025;
  constexpr double kKelvinPerCount = 0.020;  // what an uncorrected count is worth with these sensors
  const double kelvinPerLevel = data.flatField.radiometric()
                                    ? static_cast<double>(data.radiometry.rangeSpanK) / 65535.0
                                    : kKelvinPerCount;
  return std::max(truncateToI32(kGreyLevel * kelvinPerLevel / kKelvin), 1);
}

void mapEqualized(FrameContext& frame, float weight) {
  const FrameStatistics& stats = frame.data.statistics;
  MappingState& mapping = frame.data.mapping;
  const ConstLevelCounts histogram{stats.histogram};
  const LevelCounts counts{mapping.colorCounts};
  const kernels::GainTable table{mapping.gainTable};
  mapping.shownLow = stats.statsMin;
  mapping.shownHigh = stats.statsMax;
  kernels::correctImage(frame.levels->view(), frame.working->view(), histogram,
                        {stats.statsMin, stats.statsMax, weight, steepestSlope(frame.data)}, table);
  frame.wrote(*frame.working);
  kernels::countMapped(histogram, mapping.levelShift, table, counts);
}

void tabulateContrast(FrameContext& frame) {
  MappingState& mapping = frame.data.mapping;
  kernels::tabulateContrast(ConstLevelCounts{mapping.colorCounts}, frame.working->pixelCount(),
                            mapping.mappingParameter, std::span<float, kLevels>{mapping.contrastTable});
}

/// Millikelvin per grey level if the present span filled a display of 255 levels.
float milliKelvinPerLevel(const FrameStatistics& stats, float rangeSpanK) {
  const auto span = static_cast<float>(stats.statsMax - stats.statsMin);
  return span / (65535.0f / rangeSpanK) / 255.0f * 1000.0f;
}

}  // namespace

void equalizeLevels(FrameContext& frame) {
  mapEqualized(frame, frame.data.mapping.mappingParameter);
  tabulateContrast(frame);
}

void mapTemperatureWindow(FrameContext& frame) {
  const FrameStatistics& stats = frame.data.statistics;
  const float least = frame.data.mapping.minMilliKelvinPerLevel;
  const float most = frame.data.mapping.maxMilliKelvinPerLevel;
  const float present = milliKelvinPerLevel(stats, frame.data.radiometry.rangeSpanK);
  if (present < least) {
    const float margin = (least - present) * 10.0f;
    mapBetween(frame, truncateToU16(static_cast<double>(static_cast<float>(stats.statsMin) - margin)),
               truncateToU16(static_cast<double>(static_cast<float>(stats.statsMax) + margin)));
  } else if (present < most) {
    mapEqualized(frame, (present - least) / (most - least));
  } else {
    mapEqualized(frame, 1.0f);
  }
  tabulateContrast(frame);
}
