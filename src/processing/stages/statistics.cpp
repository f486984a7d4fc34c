#include <algorithm>

#include "common/numerics.h"
#include "processing/kernels/frameMeasurement.h"
#include "processing/kernels/levelShift.h"
#include "processing/stages/stages.h"

namespace {

/// Moves the running value towards `level`, or starts it there; returns it rounded.
std::uint16_t smooth(float& state, std::uint16_t level, float weight) {
  const float current = static_cast<float>(level);
  // Exactly -1: the marker, which no mixture of levels can reach.
  const float previous = state == kNotInitialised ? current : state;
  state = previous * weight + current * (1.0f - weight);
  return roundToU16(state);
}

PixelPosition position(const kernels::LevelAt& place) {
  return {static_cast<std::uint16_t>(place.x), static_cast<std::uint16_t>(place.y)};
}

}  // namespace

void measureStatistics(FrameContext& frame) {
  FrameStatistics& stats = frame.data.statistics;
  const auto measured =
      kernels::measureFrame(frame.levels->view(), LevelCounts{stats.histogram}, stats.banks);
  stats.minPosition = position(measured.minimum);
  stats.maxPosition = position(measured.maximum);
  stats.frameMean = measured.mean;

  if (!frame.fromFilledSlot) {
    // The ring's initial zeros would drag the running values down for seconds: they only describe themselves.
    stats.statsMin = measured.minimum.level;
    stats.statsMean = measured.mean;
    stats.statsMax = measured.maximum.level;
    return;
  }
  stats.statsMin = smooth(stats.statsMinF, measured.minimum.level, stats.statsSmoothing);
  stats.statsMean = smooth(stats.statsMeanF, measured.mean, stats.statsSmoothing);
  stats.statsMax = smooth(stats.statsMaxF, measured.maximum.level, stats.statsSmoothing);
}

void compensateLevel(FrameContext& frame) {
  frame.data.mapping.levelShift = 0;
  if (!frame.data.mapping.levelCompensation || frame.calibrating() || frame.shutterRun()) return;
  constexpr std::int32_t kLargestShift = 50;
  const FrameStatistics& stats = frame.data.statistics;
  // Frame minus running mean, in this direction on purpose.
  const std::int32_t offset = std::clamp(stats.frameMean - stats.statsMean, -kLargestShift, kLargestShift);
  kernels::shiftLevels(frame.levels->view(), frame.working->view(), offset);
  frame.wrote(*frame.working);
  frame.data.mapping.levelShift = offset;
}
