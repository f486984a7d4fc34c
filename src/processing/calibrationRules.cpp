#include "processing/calibrationRules.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "common/temperature.h"

namespace calibration {

bool calibrationDue(const TriggerView& view) {
  if (view.runInProgress || !view.realFrame || !view.sensorMeasured) return false;
  if (!std::isfinite(view.sensorK) || view.sensorK <= 0.0f || view.sensorK == view.rangeMinK) return false;
  // Downwards, also below 0: rounding toward zero would put the whole degree above the trigger just stored,
  // and every frame would start a run.
  return std::floor(toCelsius(view.sensorK, 1.0f)) > view.lastTriggerC;
}

float flatFieldWeight(float temperature, float low, float high) {
  if (!(high > low)) return 0.0f;
  const float weight = (temperature - low) / (high - low);
  return std::isnan(weight) ? 0.0f : std::max(std::min(weight, 1.0f), 0.0f);
}

void rescaleSums(std::span<unsigned int> sums, std::uint16_t from, std::uint16_t to) {
  if (from == to) return;
  constexpr std::uint64_t kLargest = std::numeric_limits<unsigned int>::max();
  for (unsigned int& sum : sums) {
    const std::uint64_t scaled = (std::uint64_t{sum} * to + from / 2u) / from;
    sum = static_cast<unsigned int>(std::min(scaled, kLargest));
  }
}

}  // namespace calibration
