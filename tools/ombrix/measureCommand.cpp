#include <atomic>
#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>

#include "common/format.h"
#include "ombrix/Ombrix.h"
#include "tools/common/progressLine.h"
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

// The added zero turns -0 into 0.
double milliRounded(float value) { return std::round(static_cast<double>(value) * 1000.0) / 1000.0 + 0.0; }

void requireInside(Ombrix& camera, const Point& at) {
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  camera.getImageSize(width, height);
  if (static_cast<std::uint64_t>(at.x) < width && static_cast<std::uint64_t>(at.y) < height) return;
  throw CommandFailure(
      format("--at: {},{} is outside the image of {} x {} pixels", at.x, at.y, width, height), kExitUsage);
}

class Meter {
 public:
  Meter(const Options& wanted, Ombrix& openedCamera) : options(wanted), camera(openedCamera) {}

  /// The next frame; false after Ctrl-C.
  bool next() {
    if (interrupted()) return false;
    if (camera.getRawFrame(nullptr, &metadata, kFrameTimeoutMs)) return true;
    if (interrupted()) return false;
    throw CommandFailure(format("camera {}: no frame within {} ms", options.camera, kFrameTimeoutMs));
  }

  /// Passes over the frames that come before there is something to measure.
  void settle() {
    const auto deadline = std::chrono::steady_clock::now() + kTemperatureTimeout;
    const auto waiting = [&] {
      const bool known = metadata.sensorTemperature > 0.0f && metadata.sensorTemperature != kNotYetK;
      return !known && std::chrono::steady_clock::now() < deadline;
    };
    while (next() && waiting()) {
    }
    for (int frame = 0; frame < kFramesToFollow && next(); ++frame) {
    }
  }

  std::uint64_t frame() const { return metadata.frameNumber; }
  double celsius() {
    return milliRounded(camera.getPixelTemperature(options.at.x, options.at.y, options.emissivity));
  }

 private:
  const Options& options;
  Ombrix& camera;
  Ombrix::metadata metadata;
};

}  // namespace

void measureTemperature(const Options& options, OmbrixSDK& sdk) {
  if (!std::isfinite(options.emissivity)) throw CommandFailure("--emissivity: not a number", kExitUsage);
  const auto camera = openCamera(options, sdk);
  requireInside(*camera, options.at);
  if (!camera->getShutterlessCorrection()) {
    throw CommandFailure(
        format("camera {}: no calibration files for it in '{}', so its levels are no temperatures",
               options.camera, options.data.empty() ? "data" : options.data));
  }

  std::atomic<unsigned long long> shown{0};
  const std::string total = options.count == 0 ? "" : format(" of {}", options.count);
  const ProgressLine progress([&] { return format("{}{} frames", shown.load(), total); });
  Meter meter(options, *camera);
  meter.settle();
  while ((options.count == 0 || shown < options.count) && meter.next()) {
    const double celsius = meter.celsius();
    printLine(options.json ? nlohmann::ordered_json{{"frame", meter.frame()}, {"celsius", celsius}}.dump()
                           : format("frame {:6}  {:8.3f} C", meter.frame(), celsius));
    ++shown;
  }
}

}  // namespace tools
