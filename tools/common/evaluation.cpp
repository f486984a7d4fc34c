#include "tools/common/evaluation.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "acquisition/backends/simulated/radiance.h"
#include "acquisition/imageAcquisition.h"
#include "acquisition/transport/sampleUnpacking.h"
#include "common/format.h"
#include "processing/process.h"
#include "processing/stages/stages.h"
#include "tools/common/defaultCalibration.h"
#include "tools/common/privateData.h"

namespace tools {
namespace {

constexpr std::uint16_t kShutterFrames = 32;
constexpr int kSettlingFrames = 24;  // the column correction averages over about eight
constexpr int kMeasuredFrames = 24;
constexpr double kZeroCelsius = 273.15;

constexpr const char* kStages[] = {"raw",
                                   "defects, first pass",
                                   "flat field",
                                   "column stripes",
                                   "row stripes",
                                   "manual flat field",
                                   "thermographic table",
                                   "defects, second pass",
                                   "temporal filter"};
constexpr std::size_t kFirstRadiometric = 2;
constexpr std::size_t kFinal = 7;  // the picture that is published

/// A camera object without a connection: it is handed its frames one by one.
class Bench {
 public:
  Bench(const simulation::CameraSpec& spec, const std::string& data)
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
    for (std::size_t i = 0; i < std::size(kStages); ++i) recorders.emplace_back(kinds.size());
  }

  /// A still scene and what a shutter run makes of this state of the camera.
  void warm(const EvaluationCase& conditions) {
    camera.setDetectorCelsius(conditions.detectorC);
    camera.setHousingExcessK(conditions.housingExcessK);
    camera.moveShutter(true);
    for (int i = 0; i < kSettlingFrames; ++i) pass(false);
    acquisition.requestShutterRun(kShutterFrames);
    for (int i = 0; i < kShutterFrames; ++i) pass(false);
    if (!acquisition.processing.flatField.flatFieldCorrection)
      throw std::runtime_error("the shutter run did not end");
    camera.moveShutter(false);
  }

  EvaluationResult measure(const EvaluationCase& conditions) {
    simulation::SceneSpec scene;
    scene.kind = simulation::SceneKind::Uniform;
    scene.celsius = conditions.sceneC;
    camera.setScene(scene);
    for (int i = 0; i < kSettlingFrames; ++i) pass(false);
    for (auto& recorder : recorders) recorder.restart();
    for (int i = 0; i < kMeasuredFrames; ++i) pass(true);
    compareWithDriver();
    return evaluate(conditions);
  }

 private:
  void classifyPixels() {
    const deviceInfo& device = acquisition.device;
    kinds.assign(std::size_t{device.width} * device.height, PixelKind::Good);
    for (const auto& defect : camera.defects()) kinds.at(defect.pixel) = PixelKind::Defective;
    if (device.width == 320 || device.width == 640) kinds.back() = PixelKind::NoPicture;  // the temperature
  }

  /// Takes the next frame into the raw image.
  void fetch() REQUIRES(frameMutex) {
    const auto& model = camera.model();
    const auto produced = camera.produce(sample);
    float temperature = 0.0f;
    const transport::SampleLayout layout{model.streamWidth, model.height, 0};
    if (!transport::unpackSample({sample.data(), produced.sizeBytes}, layout,
                                 acquisition.processing.rawImage.view(), temperature))
      throw std::runtime_error("the simulated camera gave no frame");
    const bool kelvin = model.temperature == simulation::TemperatureFormat::ReferenceColumns;
    acquisition.device.sensorTemperatureK = kelvin ? temperature : temperature + 273.15f;
    acquisition.delivered = {++number, true, 0, 0};
  }

  void note(std::size_t stage, const FrameContext& frame) {
    if (measuring) recorders[stage].add({frame.working->data, frame.working->pixelCount()});
  }

  /// The corrections of `process`, with a look at the picture between them.
  void correct() REQUIRES(frameMutex) {
    FrameContext frame(acquisition);
    noteFrameNumber(frame);
    note(0, frame);
    repairDefects(frame);
    note(1, frame);
    triggerCalibration(frame);
    accumulateCalibration(frame);
    refreshFlatField(frame);
    applyFlatField(frame);
    note(2, frame);
    removeColumnStripes(frame);
    note(3, frame);
    removeRowStripes(frame);
    note(4, frame);
    applyManualFlatField(frame);
    note(5, frame);
    correctTemperatures(frame);
    note(6, frame);
    repairDefects(frame);
    note(kFinal, frame);
  }

  void pass(bool measured) {
    FairLock lock(frameMutex);
    fetch();
    measuring = measured;
    correct();
    FrameContext frame(acquisition);
    filterTemporally(frame);  // of levels before gain control, so that they are still temperatures
    note(kFinal + 1, frame);
  }

  /// The corrections above are a copy of the driver's list: they must give the same picture.
  void compareWithDriver() {
    FairLock lock(frameMutex);
    measuring = false;
    number |= 1;  // followed by an even number: the column correction is refreshed there
    fetch();
    correct();
    fetch();  // an odd one: nothing that runs from frame to frame changes before the next
    const image<unsigned short>& raw = acquisition.processing.rawImage;
    const std::vector<unsigned short> same(raw.data, raw.data + raw.pixelCount());
    correct();
    const std::vector<unsigned short> expected(raw.data, raw.data + raw.pixelCount());
    std::copy(same.begin(), same.end(), raw.data);
    acquisition.delivered.number = number += 2;
    process(&acquisition);
    if (std::memcmp(acquisition.processing.correctedCopy.data, expected.data(), raw.sizeBytes) != 0)
      throw std::runtime_error("the stages measured are not those of the pipeline");
    acquisition.processing.output.temporalStateValid = false;  // it holds mapped levels now
  }

  EvaluationResult evaluate(const EvaluationCase& conditions) const {
    const auto& model = camera.model();
    const Radiometry& radiometry = acquisition.processing.radiometry;
    const double kelvinPerLevel = static_cast<double>(radiometry.rangeSpanK) / 65535.0;
    const double sceneK = conditions.sceneC + kZeroCelsius;
    const double slope =
        (simulation::radianceOf(sceneK + 0.01) - simulation::radianceOf(sceneK - 0.01)) / 0.02;
    EvaluationResult result;
    result.conditions = conditions;
    result.noiseK = static_cast<double>(model.noiseK);
    result.expectedTemporalMk = 1000.0 * result.noiseK / slope;
    for (std::size_t i = 0; i < recorders.size(); ++i) {
      StageResult stage;
      stage.stage = kStages[i];
      stage.radiometric = i >= kFirstRadiometric;
      const double kelvin =
          stage.radiometric ? kelvinPerLevel : 1.0 / static_cast<double>(model.responsivity);
      stage.figures = recorders[i].figures(kinds, model.width, 1000.0 * kelvin);
      stage.meanErrorK =
          static_cast<double>(radiometry.rangeMinK) + stage.figures.meanLevel * kelvinPerLevel - sceneK;
      result.stages.push_back(stage);
    }
    judge(result);
    return result;
  }

  static void judge(EvaluationResult& result) {
    const EvaluationCase& conditions = result.conditions;
    const StageResult& last = result.stages[kFinal];
    const auto limit = [&](const char* what, double value, double most, const char* unit) {
      if (!(value <= most))
        result.missed.push_back(format("{} {:.1f} {}, at most {:.1f}", what, value, unit, most));
    };
    const bool alike = conditions.housingExcessK == 0.0;
    const double error = conditions.polynomial && alike ? 20.0 : alike ? 100.0 : 300.0;
    limit("mean error", std::abs(last.meanErrorK) * 1000.0, error, "mK");
    limit("column part", last.figures.columnMk, 3.0, "mK");
    if (conditions.sceneC == 30.0)
      limit("spatial", last.figures.spatialMk, 1000.0 * result.noiseK / 3.0, "mK");
    limit("temporal noise off by",
          100.0 * std::abs(last.figures.temporalMk / result.expectedTemporalMk - 1.0), 10.0, "%");
  }

  simulation::SimulatedCamera camera;
  imageAcquisition acquisition;
  std::vector<std::uint8_t> sample;
  std::vector<PixelKind> kinds;
  std::vector<StageRecorder> recorders;
  std::uint64_t number = 0;
  bool measuring = false;
};

/// One state of a camera and the scenes it sees in it.
struct Series {
  bool polynomial;
  double detectorC;
  double housingExcessK;
  std::vector<double> scenesC;
};

std::vector<Series> seriesOf(EvaluationExtent extent) {
  const std::vector<double> some = {-10.0, 30.0, 120.0};
  if (extent == EvaluationExtent::Quick) return {{false, 31.0, 4.0, some}};
  const std::vector<double> many = {-10.0, 10.0, 30.0, 50.0, 80.0, 120.0};
  std::vector<Series> series;
  for (const double detectorC : {10.0, 31.0, 45.0}) series.push_back({false, detectorC, 4.0, many});
  for (const double detectorC : {10.0, 31.0, 45.0}) series.push_back({false, detectorC, 0.0, some});
  for (const double detectorC : {10.0, 31.0, 45.0}) series.push_back({true, detectorC, 0.0, some});
  return series;
}

}  // namespace

void evaluateModel(std::string_view model, EvaluationExtent extent,
                   const std::function<void(const EvaluationResult&)>& done) {
  const simulation::CameraSpec spec = simulation::makeCameraSpec(model);
  for (const Series& series : seriesOf(extent)) {
    const std::string set = defaultCalibrationDirectory(std::string(model), 0, series.polynomial);
    if (set.empty()) throw std::runtime_error(format("{}: no calibration files", model));
    const PrivateData data(set);
    Bench bench(spec, data.path());
    EvaluationCase conditions{0.0, series.detectorC, series.housingExcessK, series.polynomial};
    bench.warm(conditions);
    for (const double sceneC : series.scenesC) {
      conditions.sceneC = sceneC;
      done(bench.measure(conditions));
    }
  }
}

}  // namespace tools
