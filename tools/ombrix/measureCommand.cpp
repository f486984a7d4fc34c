#include <atomic>
#include <cmath>
#include <nlohmann/json.hpp>

#include "common/format.h"
#include "ombrix/Ombrix.h"
#include "tools/common/progressLine.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

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

}  // namespace

void measureTemperature(const Options& options, OmbrixSDK& sdk) {
  if (!std::isfinite(options.emissivity)) throw CommandFailure("--emissivity: not a number", kExitUsage);
  const auto camera = openCamera(options, sdk);
  requireInside(*camera, options.at);
  if (!camera->getShutterlessCorrection()) {
    throw CommandFailure(
        format("camera {}: no calibration files for it in '{}', so its levels are no temperatures; --data "
               "names their directory",
               options.camera, options.data.empty() ? "data" : options.data));
  }

  std::atomic<unsigned long long> shown{0};
  const std::string total = options.count == 0 ? "" : format(" of {}", options.count);
  const ProgressLine progress([&] { return format("{}{} frames", shown.load(), total); }, Output::Lines);
  Ombrix::metadata metadata;
  settle(options, *camera, metadata);
  while ((options.count == 0 || shown < options.count) && nextFrame(options, *camera, metadata)) {
    const std::uint64_t frame = metadata.frameNumber;
    const double celsius =
        milliRounded(camera->getPixelTemperature(options.at.x, options.at.y, options.emissivity));
    printLine(options.json ? nlohmann::ordered_json{{"frame", frame}, {"celsius", celsius}}.dump()
                           : format("frame {:6}  {:8.3f} C", frame, celsius));
    ++shown;
  }
  if (shown < options.count)
    throw CommandFailure(format("interrupted after {} of {} frames", shown.load(), options.count));
}

}  // namespace tools
