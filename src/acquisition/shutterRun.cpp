// Asking for a shutter run and waiting for it. The processing task does the run itself.

#include <algorithm>
#include <chrono>

#include "acquisition/imageAcquisition.h"
#include "core/logger.h"
#include "core/runtimeFlags.h"

namespace {

using namespace std::chrono_literals;

/// How often a waiter looks at the flags that are set without the calibration mutex.
constexpr auto kSlice = 50ms;

std::int64_t monotonicUs() {
  return static_cast<std::int64_t>(std::chrono::steady_clock::now().time_since_epoch() / 1us);
}

}  // namespace

std::uint32_t imageAcquisition::requestShutterRun(std::uint16_t frames) {
  MutexLock lock(calibrationMutex);
  // A second request keeps the switch of the time before the first one.
  const bool before = processing.flatField.flatFieldCorrection.exchange(false);
  if (!processing.calibration.shutterFFCRunning) switchBeforeRun = before;
  shutterRun.request(frames);
  processing.calibration.shutterFFCRunning = true;
  return shutterRun.runsEnded();
}

std::chrono::microseconds imageAcquisition::shutterPatience() const {
  const float limit = rateLimit;
  const float rate = limit > 0.0f ? std::min(limit, device.frameRate) : device.frameRate;
  if (!(rate > 0.0f)) return shutterSilence;
  const auto tenPeriods = std::chrono::microseconds(
      static_cast<std::int64_t>(std::min(10.0 * 1e6 / static_cast<double>(rate), 1e9)));
  return std::max<std::chrono::microseconds>(shutterSilence, tenPeriods);
}

void imageAcquisition::waitForShutterRun(std::uint32_t run) {
  const auto patience = shutterPatience();
  const std::int64_t begin = monotonicUs();
  MutexLock lock(calibrationMutex);
  // Not by the running flag: whoever starts runs in a loop may have set it again before a waiter wakes.
  while (shutterRun.runsEnded() == run) {
    // Only frames count: requests must not keep a waiter at a dead camera.
    const bool silent = monotonicUs() - std::max(shutterProgressUs, begin) > patience.count();
    if (silent || !ready || leaving() || isLost() || !workerRunningFlag) {
      cancelShutterRun();
      return;
    }
    calibrationCondition.wait_for(lock.native(), kSlice);
  }
}

void imageAcquisition::cancelShutterRun() {
  if (!shutterRun.cancel()) return;  // its result is just being filed
  logger::warning("Flat-field run ended without a result", LOG_HERE);
  processing.flatField.flatFieldCorrection = switchBeforeRun;
  processing.calibration.shutterFFCRunning = false;
  calibrationCondition.notify_all();
}
