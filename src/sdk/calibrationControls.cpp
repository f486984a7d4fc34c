// The members of Ombrix that switch corrections and run calibrations.

#include "acquisition/imageAcquisition.h"
#include "common/format.h"
#include "core/deviceRegistry.h"
#include "core/logger.h"
#include "ombrix/Ombrix.h"
#include "sdk/guarded.h"

namespace {

/// What "column destriping on" means.
constexpr std::int32_t kColumnPasses = 4;
constexpr std::int32_t kRowPasses = 2;
constexpr float kDestripingStrength = 0.25f;

}  // namespace

void Ombrix::setFFC(const bool& on) {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return;
  FairLock lock(frameMutex);
  camera->processing.flatField.flatFieldCorrection = on;
}

bool Ombrix::getFFC() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  return camera && camera->processing.flatField.flatFieldCorrection;
}

void Ombrix::runFFC(const bool& wait, const int& frameCount) {
  sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (!camera) return;
    const auto frames = static_cast<std::uint16_t>(frameCount);  // the low 16 bits, whatever the sign
    if (frames == 0) {
      logger::warning(format("A flat-field run of {:d} frames takes none, not started", frameCount), here);
      return;
    }
    const std::uint32_t run = camera->requestShutterRun(frames);
    if (wait) camera->waitForShutterRun(run);
  });
}

void Ombrix::setDefectivePixelsCorrection(const bool& on) {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return;
  FairLock lock(frameMutex);
  camera->processing.defects.defectivePixelsCorrection = on;
}

bool Ombrix::getDefectivePixelsCorrection() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return false;
  FairLock lock(frameMutex);
  return camera->processing.defects.defectivePixelsCorrection;
}

bool Ombrix::getDefectivePixelsCorrection(std::vector<std::pair<int, int>>& pixels) {
  return sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (!camera) return false;
    FairLock lock(frameMutex);
    pixels = camera->processing.defects.list;
    return camera->processing.defects.defectivePixelsCorrection;
  });
}

void Ombrix::setShutterlessCorrection(const bool& on) {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return;
  FairLock lock(frameMutex);
  camera->processing.flatField.shutterlessCorrection = on;
}

bool Ombrix::getShutterlessCorrection() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return false;
  FairLock lock(frameMutex);
  return camera->processing.flatField.shutterlessCorrection;
}

void Ombrix::setRadiometricCorrection(const bool& on) {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return;
  FairLock lock(frameMutex);
  camera->processing.radiometry.radiometricCorrection = on;
}

bool Ombrix::getRadiometricCorrection() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return false;
  FairLock lock(frameMutex);
  return camera->processing.radiometry.radiometricCorrection;
}

void Ombrix::setColumnDestriping(const bool& on) {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return;
  FairLock lock(frameMutex);
  auto& destriping = camera->processing.destriping;
  destriping.columnDestripingPasses = on ? kColumnPasses : 0;
  destriping.rowDestripingPasses = on ? kRowPasses : 0;
  destriping.strength = on ? kDestripingStrength : 0.0f;
}

bool Ombrix::getColumnDestriping() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return false;
  FairLock lock(frameMutex);
  return camera->processing.destriping.columnDestripingPasses == kColumnPasses;
}

void Ombrix::setTemporalFiltering(const float& weight) {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return;
  FairLock lock(frameMutex);
  if (weight >= 0.0f && weight <= 1.0f)
    camera->processing.output.temporalFiltering = weight;  // not NaN either
}

float Ombrix::getTemporalFiltering() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return 0.0f;
  FairLock lock(frameMutex);
  return camera->processing.output.temporalFiltering;
}
