#include <atomic>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "common/format.h"
#include "ombrix/Ombrix.h"
#include "tools/common/arguments.h"
#include "tools/common/imageFiles.h"
#include "tools/common/privateData.h"
#include "tools/common/progressLine.h"
#include "tools/common/session.h"
#include "tools/ombrix/commands.h"
#include "tools/ombrix/frameFigures.h"
#include "tools/ombrix/overlays.h"

namespace tools {
namespace {

/// The frames of one camera, one after the other, of the kind that was asked for.
class FrameSource {
 public:
  FrameSource(const Options& wanted, Ombrix& openCamera) : options(wanted), camera(openCamera) {
    std::uint64_t w = 0;
    std::uint64_t h = 0;
    camera.getImageSize(w, h);
    width = static_cast<std::uint32_t>(w);
    height = static_cast<std::uint32_t>(h);
    options.colour ? pixels.resize(w * h) : levels.resize(w * h);
  }

  bool next() {
    auto* const buffer = options.colour ? reinterpret_cast<std::uint8_t*>(pixels.data())
                                        : reinterpret_cast<std::uint8_t*>(levels.data());
    return awaitFrame([&](int ms) {
      return options.colour ? camera.getColorFrame(buffer, &metadata, ms)
                            : camera.getRawFrame(buffer, &metadata, ms);
    });
  }

  /// Of the 16-bit levels, or of the colour components.
  FrameFigures figures() const {
    if (!options.colour) return figuresOf<std::uint16_t>(levels);
    return figuresOf<std::uint8_t>({reinterpret_cast<const std::uint8_t*>(pixels.data()), pixels.size() * 3});
  }

  /// Writes the frame into the output directory; returns the file's name.
  std::string save() const {
    const std::string path = format("{}/{}_{:06}.{}", options.out, options.colour ? "colour" : "raw",
                                    metadata.frameNumber, options.colour ? "png" : "pgm");
    const std::string error = options.colour ? writePng(path, {pixels.data(), width, height})
                                             : writePgm(path, {levels.data(), width, height});
    if (!error.empty()) throw CommandFailure(error);
    return path;
  }

  Ombrix::metadata metadata;

 private:
  const Options& options;
  Ombrix& camera;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint16_t> levels;  ///< of a raw frame
  std::vector<rgb_24b> pixels;        ///< of a coloured one
};

// The added zero turns -0 into 0.
double rounded(double value) { return std::round(value * 100.0) / 100.0 + 0.0; }

void printFrame(const FrameSource& source, const std::string& file, bool json) {
  const Ombrix::metadata& metadata = source.metadata;
  const FrameFigures figures = source.figures();
  // 0 K: the first frames come before the first reading.
  const bool temperatureKnown = metadata.sensorTemperature > 0.0f;
  const double celsius = rounded(static_cast<double>(metadata.sensorTemperature) - 273.15);
  if (json) {
    nlohmann::ordered_json line = {
        {"frameNumber", metadata.frameNumber}, {"framesSinceLastCall", metadata.framesSinceLastCall},
        {"sensorTemperatureC", nullptr},       {"min", figures.min},
        {"mean", rounded(figures.mean)},       {"max", figures.max}};
    if (temperatureKnown) line["sensorTemperatureC"] = celsius;
    if (!file.empty()) line["file"] = file;
    return printLine(line.dump());
  }
  printLine(format("frame {:6}  +{}  {:>6} C  min {:5}  mean {:8.2f}  max {:5}{}{}", metadata.frameNumber,
                   metadata.framesSinceLastCall, temperatureKnown ? format("{:.2f}", celsius) : "-",
                   figures.min, figures.mean, figures.max, file.empty() ? "" : "  ", file));
}

void selectPreset(Ombrix& camera, int preset) {
  int index = preset;
  camera.setColorPreset(index);
  if (index != preset) throw CommandFailure(format("--preset: there is no preset {}", preset), kExitUsage);
}

}  // namespace

void streamCamera(const Options& wanted, OmbrixSDK& sdk) {
  Options options = wanted;
  if (!options.out.empty()) {
    if (const std::string error = existingDirectory(options.out); !error.empty())
      throw CommandFailure("--out: " + error + "; make it first");
  }
  // A run's table would be loaded by everyone who uses the made-up set later.
  std::optional<PrivateData> temporary;
  if (options.madeUpData && options.controls.runFrames) options.data = temporary.emplace(options.data).path();
  applyOverlays(options.overlays, sdk);
  const auto handle = openCamera(options, sdk);
  Ombrix& camera = *handle;
  if (options.preset >= 0) selectPreset(camera, options.preset);
  applyControls(options.controls, options.camera, camera);

  FrameSource source(options, camera);
  std::atomic<unsigned long long> shown{0};
  std::atomic<unsigned long long> missed{0};
  const std::string total = options.count == 0 ? "" : format(" of {}", options.count);
  const ProgressLine progress(
      [&] { return format("{}{} frames, {} missed", shown.load(), total, missed.load()); }, Output::Lines);
  while (!interrupted() && (options.count == 0 || shown < options.count)) {
    if (options.controls.trigger) camera.softwareTriggerRequest();
    if (!source.next()) {
      if (interrupted()) break;
      throw noFrame(options);
    }
    const std::string file = options.out.empty() ? "" : source.save();
    printFrame(source, file, options.json);
    // The first frame's distance is to the start of the stream, when nobody was listening yet.
    if (shown++ > 0) missed += source.metadata.framesSinceLastCall - 1;
  }
  if (shown < options.count)
    throw CommandFailure(format("interrupted after {} of {} frames", shown.load(), options.count));
}

}  // namespace tools
