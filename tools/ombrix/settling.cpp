// The first frames of a stream.

#include <chrono>

#include "common/format.h"
#include "ombrix/Ombrix.h"
#include "tools/common/session.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

constexpr int kFrameTimeoutMs = 2000;  // long enough for the slowest camera
constexpr int kSliceMs = 200;
// The corrections follow the sensor temperature, which comes a tenth of a second after the first frames. A
// camera that never tells it is measured all the same.
constexpr auto kTemperatureTimeout = std::chrono::seconds(1);
constexpr int kFramesToFollow = 3;  // until the picture of the newest frame was corrected for it
// What a Marlow 3 tells before its first frame.
constexpr float kNotYetK = 273.15f;

}  // namespace

bool awaitFrame(const std::function<bool(int)>& deliver) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kFrameTimeoutMs);
  do {
    if (interrupted()) return false;
    if (deliver(kSliceMs)) return true;
  } while (std::chrono::steady_clock::now() < deadline);
  return false;
}

CommandFailure noFrame(const Options& options) {
  return CommandFailure(format("camera {}: no frame within {} ms; 'ombrix doctor' may tell why",
                               options.camera, kFrameTimeoutMs));
}

void expectSlices() { leaveOutOfLog(format("frame not available within {} milliseconds", kSliceMs)); }

bool nextFrame(const Options& options, Ombrix& camera, Ombrix::metadata& metadata) {
  if (awaitFrame([&](int ms) { return camera.getRawFrame(nullptr, &metadata, ms); })) return true;
  if (interrupted()) return false;
  throw noFrame(options);
}

void settle(const Options& options, Ombrix& camera, Ombrix::metadata& metadata) {
  const auto deadline = std::chrono::steady_clock::now() + kTemperatureTimeout;
  const auto waiting = [&] {
    const bool known = metadata.sensorTemperature > 0.0f && metadata.sensorTemperature != kNotYetK;
    return !known && std::chrono::steady_clock::now() < deadline;
  };
  while (nextFrame(options, camera, metadata) && waiting()) {
  }
  for (int frame = 0; frame < kFramesToFollow && nextFrame(options, camera, metadata); ++frame) {
  }
}

}  // namespace tools
