#include "ombrix/Ombrix.h"

#include <exception>
#include <string_view>

#include "acquisition/imageAcquisition.h"
#include "common/format.h"
#include "core/Core.h"
#include "core/deviceRegistry.h"
#include "core/frameDelivery.h"
#include "core/logger.h"
#include "sdk/guarded.h"

namespace {

std::string calibrationDirectory(std::string path) {
  if (path.empty()) return "data";
  if (path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

Ombrix::Ombrix(const int& deviceHandle, const std::string& path)
    : handle(deviceHandle), dataPath(calibrationDirectory(path)) {
  try {
    Core::openCamera(handle, dataPath);
  } catch (const std::exception& failure) {  // no memory, no thread
    logger::error(format("Opening failed: {:s}. Handle: {:d}", std::string_view(failure.what()), handle),
                  LOG_HERE);
  }
}

Ombrix::Ombrix(const Ombrix& other) { *this = other; }

Ombrix& Ombrix::operator=(const Ombrix& other) {
  if (this == &other) return *this;
  dataPath = other.dataPath;
  handle = other.handle;
  FairLock lock(frameMutex);  // a getter may be writing the numbers
  lastRawFrameNumber = other.lastRawFrameNumber;
  lastColorFrameNumber = other.lastColorFrameNumber;
  return *this;
}

Ombrix::~Ombrix() = default;

bool Ombrix::getRawFrame(std::uint8_t* buffer, metadata* md, const int& timeout) {
  return sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (!camera) return false;
    return deliverFrame(*camera, FrameKind::thermal, buffer, md, timeout, lastRawFrameNumber, handle, here);
  });
}

bool Ombrix::getColorFrame(std::uint8_t* buffer, metadata* md, const int& timeout) {
  return sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (!camera) return false;
    return deliverFrame(*camera, FrameKind::color, buffer, md, timeout, lastColorFrameNumber, handle, here);
  });
}

bool Ombrix::getImageSize(std::uint64_t& width, std::uint64_t& height) {
  width = 0;
  height = 0;
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return false;
  width = camera->device.width;
  height = camera->device.height;
  return true;
}

std::string Ombrix::getPartNumber() {
  return sdk::guarded(LOG_HERE, [&](const LogContext& here) -> std::string {
    const registry::DeviceUser camera(handle, here);
    if (!camera) return {};
    FairLock lock(frameMutex);
    return camera->device.partNumber;
  });
}

std::string Ombrix::getSerialNumber() {
  return sdk::guarded(LOG_HERE, [&](const LogContext& here) -> std::string {
    const registry::DeviceUser camera(handle, here);
    if (!camera) return {};
    FairLock lock(frameMutex);
    return camera->device.serialText;
  });
}

void Ombrix::getSensorSettings(unsigned short& integration, unsigned short& gfid, unsigned short& gsk,
                               unsigned short& gain) {
  integration = gfid = gsk = gain = 0;
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return;
  const auto& registers = camera->device.sensorRegisters;
  integration = registers[0];
  gfid = registers[1];
  gsk = registers[2];
  gain = registers[3];
}

float Ombrix::getDeviceFrameRate() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  return camera ? camera->device.frameRate : 0.0f;
}

bool Ombrix::setDeviceFrameRate(const float&) {
  return sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (camera) logger::warning("Not implemented.", here);
    return false;
  });
}

float Ombrix::getProcessingFrameRate() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return 0.0f;
  FairLock lock(frameMutex);
  return camera->publicationRate;
}

void Ombrix::setProcessingFrameRate(const float& rate) {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (camera) camera->rateLimit = rate > 1.0f ? rate : 1.0f;  // also what NaN gives
}

std::string Ombrix::getErrorText() {
  return sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    return camera ? camera->getErrorText() : std::string();
  });
}
