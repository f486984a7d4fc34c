// The members of Ombrix that steer a camera and its processing.

#include <algorithm>

#include "acquisition/imageAcquisition.h"
#include "common/numerics.h"
#include "core/deviceRegistry.h"
#include "core/logger.h"
#include "core/runtimeFlags.h"
#include "ombrix/Ombrix.h"
#include "presentation/ColorPreset.h"
#include "sdk/guarded.h"

namespace {

/// Stores a bound that lies within 0 to 65,535; others (and NaN) leave it as it is.
void storeBound(unsigned short& bound, float value) {
  if (value >= 0.0f && value <= 65535.0f) bound = truncateToU16(static_cast<double>(value));
}

int correctedPreset(int index) {
  const int count = static_cast<int>(colorPresetCount());
  if (index < 0) return count - 1;
  return index >= count ? 0 : index;
}

}  // namespace

void Ombrix::setFreeRun(const bool& on) {
  freeRunMode = on;
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (camera) camera->setPairing(!on);
}

bool Ombrix::getFreeRun() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  return camera && freeRunMode;
}

void Ombrix::softwareTriggerRequest() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (camera) camera->requestTrigger();
}

void Ombrix::closeShutter() {
  sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (camera) camera->moveShutter(true);
  });
}

void Ombrix::openShutter() {
  sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (camera) camera->moveShutter(false);
  });
}

void Ombrix::setMappingMode(const mapping& mode, const float& low, const float& high) {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return;
  FairLock lock(frameMutex);
  auto& state = camera->processing.mapping;
  state.mappingMode = mode;
  storeBound(state.mappingLow, low);
  storeBound(state.mappingHigh, high);
  const bool isFraction = low > 0.0f && low <= 1.0f;
  if (isFraction && (mode == mappingEqualized || mode == mappingTemperatureWindow))
    state.mappingParameter = low;
}

Ombrix::mapping Ombrix::getMappingMode() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return mappingHistogramTable;
  FairLock lock(frameMutex);
  return static_cast<mapping>(camera->processing.mapping.mappingMode);
}

void Ombrix::setColorPreset(int& index) {
  sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (!camera) return;
    index = correctedPreset(index);
    camera->processing.selectColorPreset(index);
  });
}

int Ombrix::getColorPreset() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  return camera ? camera->processing.palette.index() : 0;
}
