#include "ombrix/Ombrix.h"
#include "processing/kernels/linearMapping.h"
#include "processing/stages/gainModes.h"
#include "processing/stages/stages.h"

namespace {

void tabulateLevels(FrameContext& frame) {
  MappingState& mapping = frame.data.mapping;
  const LevelCounts counts{mapping.colorCounts};
  mapping.shownLow = 0;
  mapping.shownHigh = 65535;
  kernels::countShifted(ConstLevelCounts{frame.data.statistics.histogram}, mapping.levelShift, counts);
}

}  // namespace

void mapBetween(FrameContext& frame, std::uint16_t low, std::uint16_t high) {
  // Crossed bounds leave the counts as they are, together with the picture.
  if (high < low) return;
  MappingState& mapping = frame.data.mapping;
  const LevelCounts counts{mapping.colorCounts};
  mapping.shownLow = low;
  mapping.shownHigh = high;
  kernels::mapLinear(frame.levels->view(), frame.working->view(), low, high);
  frame.wrote(*frame.working);
  kernels::countLinear(ConstLevelCounts{frame.data.statistics.histogram}, mapping.levelShift, low, high,
                       counts);
}

void mapLevels(FrameContext& frame) {
  const MappingState& mapping = frame.data.mapping;
  const FrameStatistics& stats = frame.data.statistics;
  switch (mapping.mappingMode) {
    case Ombrix::mappingHistogramTable:
      return tabulateLevels(frame);
    case Ombrix::mappingLinear:
      return mapBetween(frame, stats.statsMin, stats.statsMax);
    case Ombrix::mappingManual:
      return mapBetween(frame, mapping.mappingLow, mapping.mappingHigh);
    case Ombrix::mappingEqualized:
      return equalizeLevels(frame);
    case Ombrix::mappingTemperatureWindow:
      return mapTemperatureWindow(frame);
    default:
      return;
  }
}
