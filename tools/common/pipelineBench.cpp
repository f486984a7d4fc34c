#include "tools/common/pipelineBench.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "acquisition/transport/sampleUnpacking.h"
#include "common/format.h"
#include "processing/process.h"
#include "processing/stages/stages.h"

namespace tools {
namespace {

/// Frames of a flat-field run. The camera's own shutter is not evenly warm, which leaves less room for noise.
constexpr std::uint16_t kBlackBodyFrames = 32;
constexpr std::uint16_t kShutterFrames = 64;

}  // namespace

simulation::SceneSpec PipelineBench::blackBody(double celsius) {
  simulation::SceneSpec scene;
  scene.kind = simulation::SceneKind::Uniform;
  scene.celsius = celsius;
  return scene;
}

// A camera object without a connection: it is handed its frames one by one.
PipelineBench::PipelineBench(const simulation::CameraSpec& spec, const std::string& data)
    : camera(spec), acquisition(data, false), sample(camera.largestSampleBytes()) {
  USBDeviceDesc description;
  description.vid = 0x5c2b;
  description.pid = spec.model->productId;
  if (!acquisition.setUSBDevice(description, 0, 0)) throw std::runtime_error("unknown camera");
  acquisition.device.serialNumber = spec.serialNumber;
  acquisition.initImageBuffers();
  acquisition.loadCalibrationFiles();
  if (!acquisition.processing.flatField.shutterlessCorrection)
    throw std::runtime_error(format("{}: no calibration files", spec.model->name));
  classifyPixels();
}

void PipelineBench::classifyPixels() {
  const deviceInfo& device = acquisition.device;
  kinds.assign(std::size_t{device.width} * device.height, PixelKind::Good);
  for (const auto& defect : camera.defects()) kinds.at(defect.pixel) = PixelKind::Defective;
  if (device.width == 320 || device.width == 640) kinds.back() = PixelKind::NoPicture;  // the temperature
}

/// Takes the next frame into the raw image.
void PipelineBench::fetch() {
  const auto& model = camera.model();
  const auto produced = camera.produce(sample);
  float temperature = 0.0f;
  const transport::SampleLayout layout{model.streamWidth, model.height, 0};
  if (!transport::unpackSample({sample.data(), produced.sizeBytes}, layout,
                               acquisition.processing.rawImage.view(), temperature))
    throw std::runtime_error("the simulated camera gave no frame");
  const bool kelvin = model.temperature == simulation::TemperatureFormat::ReferenceColumns;
  acquisition.device.sensorTemperatureK = kelvin ? temperature : temperature + 273.15f;
  acquisition.device.temperatureMeasured = true;
  acquisition.delivered = {++number, true, 0, 0};
}

/// The corrections of `process`, with a look at the picture between them.
void PipelineBench::runCorrections(const Look& look) {
  FrameContext frame(acquisition);
  std::size_t stage = 0;
  const auto show = [&] {
    if (look) look(stage, *frame.working);
    ++stage;
  };
  noteFrameNumber(frame);
  show();
  repairDefects(frame);
  show();
  triggerCalibration(frame);
  accumulateCalibration(frame);
  refreshFlatField(frame);
  applyFlatField(frame);
  show();
  removeColumnStripes(frame);
  show();
  removeRowStripes(frame);
  show();
  applyManualFlatField(frame);
  show();
  correctTemperatures(frame);
  show();
  repairDefects(frame);
  show();
}

void PipelineBench::correct(const Look& look) {
  FairLock lock(frameMutex);
  fetch();
  runCorrections(look);
  FrameContext frame(acquisition);
  filterTemporally(frame);
  if (look) look(kCorrectionCount, *frame.working);
}

void PipelineBench::present(const Look& look) {
  FairLock lock(frameMutex);
  fetch();
  runCorrections(look);
  FrameContext frame(acquisition);
  measureStatistics(frame);
  mapLevels(frame);
  look(kCorrectionCount, *frame.working);
  filterTemporally(frame);
  look(kCorrectionCount + 1, *frame.working);
  resampleFrame(frame);
  filterSpatially(frame);
  look(kCorrectionCount + 2, acquisition.processing.outputImage);
}

void PipelineBench::repeat(int frames) {
  for (int i = 0; i < frames; ++i) correct({});
}

void PipelineBench::runShutter(FlatFieldReference reference) {
  camera.setScene(blackBody(kReferenceC));
  camera.moveShutter(reference == FlatFieldReference::Shutter);
  settle();
  const std::uint16_t frames = reference == FlatFieldReference::Shutter ? kShutterFrames : kBlackBodyFrames;
  acquisition.requestShutterRun(frames);
  repeat(frames);
  if (!acquisition.processing.flatField.flatFieldCorrection)
    throw std::runtime_error("the shutter run did not end");
  camera.moveShutter(false);
}

void PipelineBench::compareWithDriver() {
  FairLock lock(frameMutex);
  number |= 1;  // followed by an even number: the column correction is refreshed there
  fetch();
  runCorrections({});
  fetch();  // an odd one: nothing that runs from frame to frame changes before the next
  const image<unsigned short>& raw = acquisition.processing.rawImage;
  const std::vector<unsigned short> same(raw.data, raw.data + raw.pixelCount());
  runCorrections({});
  const std::vector<unsigned short> expected(raw.data, raw.data + raw.pixelCount());
  std::copy(same.begin(), same.end(), raw.data);
  acquisition.delivered.number = number += 2;
  process(&acquisition);
  if (std::memcmp(acquisition.processing.correctedCopy.data, expected.data(), raw.sizeBytes) != 0)
    throw std::runtime_error("the stages measured are not those of the pipeline");
  acquisition.processing.output.temporalStateValid = false;  // it holds mapped levels now
}

}  // namespace tools
