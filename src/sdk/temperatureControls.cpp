// The members of Ombrix that read temperatures.

#include "acquisition/imageAcquisition.h"
#include "common/temperature.h"
#include "core/deviceRegistry.h"
#include "core/logger.h"
#include "ombrix/Ombrix.h"

float Ombrix::getSensorTemperature() {
  const registry::DeviceUser camera(handle, LOG_HERE);
  return camera ? toCelsius(camera->device.sensorTemperatureK, 1.0f) : 0.0f;
}

float Ombrix::getPixelTemperature(const int& x, const int& y, const float& emissivity) {
  const registry::DeviceUser camera(handle, LOG_HERE);
  if (!camera) return 0.0f;
  FairLock lock(frameMutex);
  const auto& data = camera->processing;
  const auto& picture = data.correctedCopy;
  if (x < 0 || x >= picture.width || y < 0 || y >= picture.height) return -kZeroCelsiusInK;
  const std::uint16_t level = picture.view().at(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
  const float kelvin =
      static_cast<float>(level) * data.radiometry.rangeSpanK / 65535.0f + data.radiometry.rangeMinK;
  return toCelsius(kelvin, emissivity);
}
