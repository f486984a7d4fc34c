#include "bench/OpenedCamera.h"

#include <stdexcept>

#include "core/settings.h"
#include "presentation/colorize.h"
#include "processing/process.h"
#include "tools/common/defaultCalibration.h"

namespace {

constexpr std::size_t kSamples = 16;
constexpr int kTimeoutMs = 10000;

}  // namespace

OpenedCamera::OpenedCamera(const std::string& model, int units) {
  const std::string scenario = model + ";step=on";
  platform = simulation::makeSimulatedPlatform(scenario);
  transport::installVideoPlatform(platform);
  sdk = std::make_unique<OmbrixSDK>(OmbrixSDK::verbosityErrors, units);
  camera = std::make_unique<Ombrix>(0, tools::defaultCalibrationDirectory(scenario, 0, false));
  if (const std::string error = camera->getErrorText(); error != "none") throw std::runtime_error(error);
  inside = static_cast<imageAcquisition*>(OmbrixSDK::mConnectedDevices.at(0));
  settings::inst()->profiling = true;
  int preset = 4;
  camera->setColorPreset(preset);
  storeSamples();
  settle();
}

OpenedCamera::~OpenedCamera() {
  camera.reset();
  sdk.reset();
  transport::installVideoPlatform(nullptr);
}

/// Lets the stream run, frame by frame, and keeps what it delivers.
void OpenedCamera::storeSamples() {
  constexpr int kFirstFrames = 5;  // past the zero frame
  for (std::size_t i = 0; i < kFirstFrames + kSamples; ++i) {
    platform->pump(0, 1);
    if (!camera->getColorFrame(nullptr, nullptr, kTimeoutMs)) throw std::runtime_error("no frame");
    if (i < kFirstFrames) continue;
    const image<unsigned short>& newest = inside->ring.slots[i % FrameRing::kSlots];
    samples.emplace_back(newest.width, newest.height);
    copyImage(newest, samples.back());
  }
  next = inside->delivered.number;
}

/// Until the smoothed values rest.
void OpenedCamera::settle() {
  for (int i = 0; i < 60; ++i) processFrame();
}

void OpenedCamera::processFrame() {
  FairLock lock(frameMutex);
  copyImage(samples[next % kSamples], inside->processing.rawImage);
  inside->delivered.number = ++next;
  const image<unsigned short>& output = inside->processing.outputImage;
  if (!process(inside) || !colorize(inside, output.width, output.height))
    throw std::runtime_error("a frame was not processed");
}
