// The first frames of a stream.

#include <chrono>

#include "common/format.h"
#include "ombrix/Ombrix.h"
#include "tools/common/session.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

constexpr int kFrameTimeoutMs = 2000;
// The corrections follow the sensor temperature, which comes a tenth of a second after the first frames. A
// camera that never tells it is measured all the same.
constexpr auto kTemperatureTimeout = std::chrono::seconds(1);
constexpr int kFramesToFollow = 3;  // until the picture of the newest frame was corrected for it
// What a Marlow 3 tells before its first frame.
constexpr float kNotYetK = 273.15f;

}  // namespace

bool nextFrame(const Options& options, Ombrix& camera, Ombrix::metadata& metadata) {
  if (interrupted()) return false;
  if (camera.getRawFrame(nullptr, &metadata, kFrameTimeoutMs)) return true;
  if (interrupted()) return false;
  throw CommandFailure(format("camera {}: no frame within {} ms", options.camera, kFrameTimeoutMs));
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
