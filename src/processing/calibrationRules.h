#pragma once

#include <cstdint>
#include <span>

// The rules of calibration runs that need no images.

namespace calibration {

/// What the automatic calibration looks at.
struct TriggerView {
  float sensorK = 0.0f;         ///< sensor temperature
  float rangeMinK = 0.0f;       ///< a sensor temperature of exactly this is a reset value
  float lastTriggerC = 0.0f;    ///< at the last automatic calibration, degrees Celsius
  bool sensorMeasured = false;  ///< `sensorK` was read from the sensor
  bool realFrame = false;       ///< the frame holds a sample
  bool runInProgress = false;   ///< a calibration or a shutter run
};

/// True when the sensor has warmed beyond a whole degree since the last calibration. Cooling never triggers.
bool calibrationDue(const TriggerView& view);

/// Where `temperature` lies between `low` and `high`, limited to 0..1; 0 unless high is above low.
float flatFieldWeight(float temperature, float low, float high);

/// Turns sums of `from` frames into sums of `to` frames, rounded; saturates. `from` is not 0.
void rescaleSums(std::span<unsigned int> sums, std::uint16_t from, std::uint16_t to);

}  // namespace calibration
