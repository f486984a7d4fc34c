#include "bench/figures/LiveCameras.h"

#include <chrono>
#include <stdexcept>

#include "acquisition/imageAcquisition.h"
#include "calibration/ffcFile.h"
#include "core/frameMutex.h"
#include "tools/common/defaultCalibration.h"

namespace bench {

namespace {

constexpr std::size_t kStoredSamples = 16;

std::string scenarioOf(const std::string& model, int count) {
  std::string scenario = model;
  for (int i = 1; i < count; ++i) scenario += "," + model;
  // They share their calibration files.
  return scenario + ";serial=466001359";
}

void useLinearSetup(int handle, Ombrix& camera) {
  camera.setMappingMode(Ombrix::mappingLinear, 0.0f, 65535.0f);
  camera.setColumnDestriping(false);
  auto& data = static_cast<imageAcquisition*>(OmbrixSDK::mConnectedDevices.at(handle))->processing;
  FairLock lock(frameMutex);
  data.destriping.columnDestripingPasses = data.destriping.rowDestripingPasses = 0;
  data.output.spatialFiltering = false;
  // Corrected as the peers do it: by one of the loaded tables.
  data.flatField.twoTableFFC = false;
  data.flatField.ffcMode = 0;
  data.flatField.ffcMean = getFFCMean(data.ffcAccumulator, data.calibration.ffcFramesToTake);
  data.radiometry.radiometricCorrection = false;
}

}  // namespace

Stock::Stock(const std::string& modelName)
    : model(modelName),
      calibration(tools::defaultCalibrationDirectory(scenarioOf(model, 1), 0, false)),
      samples(std::make_shared<const Samples>(recordSamples(scenarioOf(model, 1), kStoredSamples))) {}

LiveCameras::LiveCameras(const Stock& stock, int count, double rateHz, Setup setup)
    : platform(
          std::make_shared<StoredSamplesPlatform>(scenarioOf(stock.model, count), stock.samples, rateHz)) {
  transport::installVideoPlatform(platform);
  sdk = std::make_unique<OmbrixSDK>(OmbrixSDK::verbosityErrors, 1);
  for (int handle = 0; handle < count; ++handle) {
    auto& viewer = viewers.emplace_back(std::make_unique<Viewer>());
    viewer->camera = std::make_unique<Ombrix>(handle, stock.calibration);
    if (const std::string error = viewer->camera->getErrorText(); error != "none")
      throw std::runtime_error(error);
    if (setup == Setup::Linear) useLinearSetup(handle, *viewer->camera);
  }
  run(0.5);  // until caches, tables and smoothed values have settled
}

LiveCameras::~LiveCameras() {
  viewers.clear();
  sdk.reset();
  transport::installVideoPlatform(nullptr);
}

void LiveCameras::applicationThreadProc(Viewer& viewer, std::size_t index) {
  constexpr int kTimeoutMs = 2000;
  std::uint64_t width = 0, height = 0;
  viewer.camera->getImageSize(width, height);
  std::vector<std::uint8_t> picture(width * height * 3);
  std::vector<std::uint32_t> histogram(65536);
  Ombrix::metadata metadata;
  metadata.histogramBuffer = histogram.data();
  viewer.camera->getColorFrame(nullptr, &metadata, kTimeoutMs);  // whatever waited since the last run
  while (watching) {
    if (!viewer.camera->getColorFrame(picture.data(), &metadata, kTimeoutMs)) {
      ++viewer.missed;
      continue;
    }
    const std::int64_t now =
        std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
    viewer.missed += metadata.framesSinceLastCall - 1;
    viewer.handOverMs.push_back(
        1e-6 * static_cast<double>(now - platform->record(index).stampOf(metadata.frameNumber)));
  }
}

void LiveCameras::run(double seconds) {
  watching = true;
  for (std::size_t i = 0; i < viewers.size(); ++i) {
    Viewer& viewer = *viewers[i];
    viewer.missed = 0;
    viewer.firstUnrequested = platform->record(i).unrequested;
    viewer.handOverMs.clear();
    viewer.handOverMs.reserve(static_cast<std::size_t>(seconds * 200.0));
    viewer.thread = std::thread([this, &viewer, i] { applicationThreadProc(viewer, i); });
  }
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  watching = false;
  for (auto& viewer : viewers) viewer->thread.join();
}

std::uint64_t LiveCameras::missed() const {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < viewers.size(); ++i)
    sum += viewers[i]->missed + platform->record(i).unrequested - viewers[i]->firstUnrequested;
  return sum;
}

std::uint64_t LiveCameras::taken() const {
  std::uint64_t sum = 0;
  for (const auto& viewer : viewers) sum += viewer->handOverMs.size();
  return sum;
}

std::vector<double> LiveCameras::handOverMs() const {
  std::vector<double> all;
  for (const auto& viewer : viewers)
    all.insert(all.end(), viewer->handOverMs.begin(), viewer->handOverMs.end());
  return all;
}

}  // namespace bench
