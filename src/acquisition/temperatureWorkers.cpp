// The sensor-temperature workers: one per camera, a cycle every 100 ms while its stream runs.

#include <chrono>
#include <cmath>

#include "acquisition/acquiringCount.h"
#include "acquisition/imageAcquisition.h"
#include "acquisition/transport/UVCConnection.h"
#include "core/ArrivalSignal.h"
#include "core/logger.h"
#include "core/settings.h"

namespace {

using namespace std::chrono_literals;

constexpr float kZeroCelsiusK = 273.15f;
constexpr auto kCycle = 100ms;

std::int64_t monotonicNs() {
  return static_cast<std::int64_t>(std::chrono::steady_clock::now().time_since_epoch() / 1ns);
}

}  // namespace

/// How a sensor family's frame value becomes kelvin.
struct imageAcquisition::TemperatureRule {
  bool frameIsKelvin;      ///< the decoded value needs no conversion
  bool convertBeforeTest;  ///< 273.15 is added before the value is compared with "no frame yet"
  bool skipsZero;          ///< a value of exactly 0 means that no frame has come yet
};

void imageAcquisition::Velt640DTempUpdateThreadProc() { temperatureLoop({false, false, true}); }
void imageAcquisition::Quor320TempUpdateThreadProc() { temperatureLoop({false, true, true}); }
void imageAcquisition::Velt1280TempUpdateThreadProc() { temperatureLoop({true, false, false}); }

void imageAcquisition::temperatureLoop(const TemperatureRule& rule) {
  while (!stopRequested && acquiringCount::acquiring()) {
    const auto deadline = std::chrono::steady_clock::now() + kCycle;
    temperatureCycle(rule);
    MutexLock lock(workerMutex);
    while (!stopRequested) {
      if (workerCondition.wait_until(lock.native(), deadline) == std::cv_status::timeout) break;
    }
  }
  logger::debug("Done", LOG_HERE);
}

void imageAcquisition::temperatureCycle(const TemperatureRule& rule) {
  float value = device.connection->sensorTemperature;
  bool measured = value != 0.0f;
  if (rule.convertBeforeTest) value += kZeroCelsiusK;
  if (rule.skipsZero && value == 0.0f) {
    lastCycleNs = monotonicNs();
    return;
  }
  if (!rule.convertBeforeTest && !rule.frameIsKelvin) value += kZeroCelsiusK;
  const settings& options = settings::current();
  const float validationC = options.FFCValidationTemperature;
  if (options.FFCValidation && std::isfinite(validationC)) {
    value = validationC + kZeroCelsiusK;
    measured = true;
  }
  publishTemperature(value);
  device.temperatureMeasured = measured;
  if (!device.needsTemperatureFrame) return;
  {
    MutexLock lock(ring.mutex);
    ring.temperatureReady = true;
    ring.condition.notify_all();
  }
  frameArrivals.notify();
}

void imageAcquisition::publishTemperature(float kelvin) {
  const std::int64_t now = monotonicNs();
  const std::int64_t elapsedUs = (now - lastCycleNs) / 1000;  // the fraction is dropped
  const double elapsedMs = static_cast<double>(elapsedUs) / 1000.0;
  lastCycleNs = now;
  if (!device.temperatureFiltering) {
    temperatureFilter.started = false;
    device.sensorTemperatureK = kelvin;
    return;
  }
  temperatureFilter.update(kelvin, static_cast<float>(elapsedMs));
  device.sensorTemperatureK = temperatureFilter.filteredK;
  device.temperatureRate = temperatureFilter.rateKPerS;
}
