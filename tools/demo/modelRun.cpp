#include "tools/demo/modelRun.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "common/format.h"
#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"
#include "platform/system.h"
#include "tools/common/defaultCalibration.h"

namespace tools {
namespace {

constexpr int kFrameTimeoutMs = 2000;
constexpr int kFirstFrames = 12;     // past the zero frame a stream begins with
constexpr int kSettlingFrames = 30;  // until the smoothed statistics rest
constexpr int kThermalFrames = 120;
constexpr std::size_t kHistogramBins = 65536;

/// The simulated platform stands in for the machine's own while a model runs.
class InstalledPlatform {
 public:
  explicit InstalledPlatform(const std::string& scenario)
      : platform(simulation::makeSimulatedPlatform(scenario)) {
    if (platform->cameraCount() == 0) throw std::runtime_error("no simulated camera: " + scenario);
    transport::installVideoPlatform(platform);
  }
  ~InstalledPlatform() { transport::installVideoPlatform(nullptr); }
  InstalledPlatform(const InstalledPlatform&) = delete;
  InstalledPlatform& operator=(const InstalledPlatform&) = delete;

  const simulation::SimulatedPlatform& operator*() const { return *platform; }

 private:
  std::shared_ptr<simulation::SimulatedPlatform> platform;
};

std::int64_t steadyNs() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

/// Takes frames and notes when each one came; the clocks of the run go with them.
class Measurement {
 public:
  Measurement(const simulation::SimulatedPlatform& source, int frames)
      : platform(source),
        before(platform.counts(0)),
        cpuStartNs(platform::processCpuNs()),
        wallStartNs(steadyNs()) {
    deliveries.reserve(static_cast<std::size_t>(frames));
    handOvers.reserve(static_cast<std::size_t>(frames));
  }

  void note(std::uint64_t frameNumber) {
    deliveries.push_back({frameNumber, steadyNs()});
    // Those between two deliveries were missed, but handed over all the same.
    const std::uint64_t first = handOvers.empty() ? frameNumber : handOvers.back().frameNumber + 1;
    for (std::uint64_t number = first; number <= frameNumber; ++number) {
      if (const std::int64_t at = platform.handOverNs(0, number); at != 0) handOvers.push_back({number, at});
    }
  }

  void finish() {
    const double wallNs = static_cast<double>(steadyNs() - wallStartNs);
    const simulation::StreamCounts after = platform.counts(0);
    const std::int64_t simulatorNs = after.generatorCpuNs - before.generatorCpuNs;
    figures = measure(deliveries, handOvers, after.dropped - before.dropped);
    simulatorShare = static_cast<double>(simulatorNs) / wallNs;
    sdkShare = static_cast<double>(platform::processCpuNs() - cpuStartNs - simulatorNs) / wallNs;
  }

  StreamFigures figures;
  double simulatorShare = 0.0;
  double sdkShare = 0.0;

 private:
  const simulation::SimulatedPlatform& platform;
  const simulation::StreamCounts before;
  const std::int64_t cpuStartNs;
  const std::int64_t wallStartNs;
  std::vector<Delivery> deliveries;
  std::vector<HandOver> handOvers;
};

/// The camera of a run and the buffers its frames go to.
class DemoCamera {
 public:
  DemoCamera(ModelResult& modelResult, const std::string& dataPath)
      : result(modelResult), camera(0, dataPath), histogram(kHistogramBins) {
    if (const std::string error = camera.getErrorText(); error != "none") throw std::runtime_error(error);
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    camera.getImageSize(width, height);
    result.width = static_cast<std::uint32_t>(width);
    result.height = static_cast<std::uint32_t>(height);
    result.nominalRate = camera.getDeviceFrameRate();
    levels.resize(width * height);
    result.colourPicture = {result.width, result.height, std::vector<rgb_24b>(width * height)};
    metadata.histogramBuffer = histogram.data();
  }

  std::uint64_t takeRaw() {
    return taken(
        camera.getRawFrame(reinterpret_cast<std::uint8_t*>(levels.data()), &metadata, kFrameTimeoutMs));
  }
  std::uint64_t takeColour() {
    auto* const pixels = reinterpret_cast<std::uint8_t*>(result.colourPicture.pixels.data());
    return taken(camera.getColorFrame(pixels, &metadata, kFrameTimeoutMs));
  }

  /// Of the last raw frame.
  std::pair<std::uint16_t, std::uint16_t> bounds() const { return levelBounds(histogram, 0.005, 0.995); }

  ModelResult& result;
  Ombrix camera;
  std::vector<std::uint16_t> levels;

 private:
  std::uint64_t taken(bool delivered) const {
    if (!delivered)
      throw std::runtime_error(format("{}: no frame within {} ms", result.name, kFrameTimeoutMs));
    return metadata.frameNumber;
  }

  std::vector<std::uint32_t> histogram;
  Ombrix::metadata metadata;
};

/// Lets the running values of the pipeline come to rest.
void settle(DemoCamera& demo) {
  for (int i = 0; i < kFirstFrames; ++i) demo.takeRaw();
  for (int i = 0; i < kSettlingFrames; ++i) demo.takeColour();
}

/// A colour frame with everything that can be drawn on it. Overlays cost time, so this comes after measuring.
Picture takeOverlays(DemoCamera& demo, OmbrixSDK& sdk) {
  for (const char* parameter :
       {"displayTarget", "displayHistogram", "displayColorBar", "displayImageSize",
        "displaySensorTemperature", "displayMinMax", "displayFrameRate", "displaySensorSerial"}) {
    sdk.parseCoreParameter(parameter);
  }
  Picture plain = demo.result.colourPicture;
  // The first may have been drawn before; the target is a mean of 16.
  for (int i = 0; i < kSettlingFrames; ++i) demo.takeColour();
  std::swap(plain, demo.result.colourPicture);
  return plain;
}

}  // namespace

ModelResult runModel(const ModelPlan& plan) {
  const InstalledPlatform platform(plan.scenario);
  ModelResult result;
  OmbrixSDK sdk;
  result.name = sdk.getDeviceName(0);
  DemoCamera demo(result, defaultCalibrationDirectory(plan.scenario, 0, false));
  int preset = plan.preset;
  demo.camera.setColorPreset(preset);
  settle(demo);

  Measurement colour(*platform, plan.frames);
  for (int i = 0; i < plan.frames; ++i) colour.note(demo.takeColour());
  colour.finish();
  result.colour = colour.figures;
  result.cpuShare = colour.sdkShare;
  result.simulatorCpuShare = colour.simulatorShare;

  demo.takeRaw();  // the one that waited all along
  Measurement thermal(*platform, kThermalFrames);
  for (int i = 0; i < kThermalFrames; ++i) thermal.note(demo.takeRaw());
  thermal.finish();
  result.thermal = thermal.figures;

  const auto [low, high] = demo.bounds();
  result.rawPicture = stretchLinear(demo.levels, result.width, result.height, low, high);
  result.overlayPicture = takeOverlays(demo, sdk);
  return result;
}

}  // namespace tools
