#include "bench/CameraRig.h"

#include <algorithm>
#include <stdexcept>

#include "core/logger.h"
#include "core/multithreading.h"
#include "core/settings.h"
#include "presentation/ColorPreset.h"
#include "presentation/colorize.h"
#include "processing/process.h"

namespace bench {

ProcessingUnits::ProcessingUnits(int units) {
  logger::init(logger::verbosityErrors, "", true, true);
  settings::create(0, nullptr);
  settings::inst()->processingUnits = units;
  settings::inst()->profiling = true;
  multithreading::createPools(static_cast<unsigned>(units));
  loadColorPresets();
}

ProcessingUnits::~ProcessingUnits() { settings::release(); }

CameraRig::CameraRig(std::uint16_t width, std::uint16_t height)
    : camera(syntheticCamera(width, height)), slot(width, height), corrected(width, height) {
  data().allocate(width, height);
  makeSamples();
  calibrate();
  keepCorrected();
}

/// The widest model has four more columns at either edge of its stream, which are no picture.
void CameraRig::makeSamples() {
  const std::uint32_t edge = camera.width == 1280 ? 4 : 0;
  layout = {camera.width + 2 * edge, camera.height, 0};
  for (const auto& frame : camera.frames) {
    std::vector<std::uint8_t>& sample = samples.emplace_back(layout.sizeBytes());
    for (std::uint32_t y = 0; y < layout.height; ++y) {
      const auto row = frame.begin() + static_cast<std::ptrdiff_t>(2 * camera.width * y);
      std::copy(row, row + 2 * camera.width,
                sample.begin() + static_cast<std::ptrdiff_t>(layout.rowBytes() * y + 2 * edge));
    }
  }
}

void CameraRig::calibrate() {
  auto& state = data();
  state.defects.list = camera.defects;
  state.defects.defectivePixelsCorrection = true;
  std::copy(camera.table.begin(), camera.table.end(), state.ffcAccumulator.data);
  state.calibration.ffcFramesToTake = SyntheticCamera::kTableFrames;
  state.flatField.ffcMean = camera.target;
  state.flatField.shutterlessCorrection = true;
  state.destriping.columnDestripingPasses = state.destriping.rowDestripingPasses = 0;
  state.mapping.mappingMode = 1;
  state.output.spatialFiltering = false;
  state.selectColorPreset(4);
}

void CameraRig::keepCorrected() {
  for (std::size_t i = 0; i < 2 * SyntheticCamera::kFrames; ++i) {
    unpackSample();
    fetchFrame();
    processFrame();
  }
  copyImage(data().correctedCopy, corrected);
}

void CameraRig::unpackSample() {
  float temperature = 0.0f;
  if (!transport::unpackSample(samples[number % samples.size()], layout, slot.view(), temperature))
    throw std::runtime_error("a sample was not unpacked");
}

void CameraRig::fetchFrame() {
  copyImage(slot, data().rawImage);
  acquisition.delivered.number = ++number;
  acquisition.delivered.fromFilledSlot = true;
}

void CameraRig::fetchCorrected() {
  copyImage(corrected, data().rawImage);
  acquisition.delivered.number = number += 2;  // even numbers refresh the stripe estimates
  acquisition.delivered.fromFilledSlot = true;
}

void CameraRig::processFrame() {
  FairLock lock(frameMutex);
  const image<unsigned short>& output = data().outputImage;
  if (!process(&acquisition) || !colorize(&acquisition, output.width, output.height))
    throw std::runtime_error("a frame was not processed");
}

}  // namespace bench
