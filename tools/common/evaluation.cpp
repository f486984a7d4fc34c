#include "tools/common/evaluation.h"

#include <cmath>
#include <stdexcept>

#include "acquisition/backends/simulated/radiance.h"
#include "common/format.h"
#include "tools/common/defaultCalibration.h"
#include "tools/common/privateData.h"

namespace tools {
namespace {

constexpr int kMeasuredFrames = 24;
constexpr double kZeroCelsius = 273.15;
constexpr std::size_t kStages = kCorrectionCount + 1;  // with the temporal filter
constexpr std::size_t kFinal = kCorrectionCount - 1;   // the picture that is published

/// A camera before black bodies.
class Series {
 public:
  Series(const simulation::CameraSpec& spec, const std::string& data) : bench(spec, data) {
    for (std::size_t i = 0; i < kStages; ++i) recorders.emplace_back(bench.kinds.size());
  }

  /// A state of the camera, and a shutter run in it.
  void warm(const EvaluationCase& conditions, FlatFieldReference reference) {
    bench.camera.setDetectorCelsius(conditions.detectorC);
    bench.camera.setHousingExcessK(conditions.housingExcessK);
    bench.runShutter(reference);
  }

  EvaluationResult measure(const EvaluationCase& conditions) {
    bench.camera.setScene(PipelineBench::blackBody(conditions.sceneC));
    bench.settle();
    for (auto& recorder : recorders) recorder.restart();
    for (int i = 0; i < kMeasuredFrames; ++i) {
      bench.correct([&](std::size_t stage, const image<unsigned short>& picture) {
        recorders[stage].add({picture.data, picture.pixelCount()});
      });
    }
    bench.compareWithDriver();
    return evaluate(conditions);
  }

 private:
  EvaluationResult evaluate(const EvaluationCase& conditions) const {
    const auto& model = bench.camera.model();
    const Radiometry& radiometry = bench.acquisition.processing.radiometry;
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
      stage.stage = i < kCorrectionCount ? kCorrections[i] : "temporal filter";
      stage.radiometric = i >= kFirstRadiometric;
      const double kelvin =
          stage.radiometric ? kelvinPerLevel : 1.0 / static_cast<double>(model.responsivity);
      stage.figures = recorders[i].figures(bench.kinds, model.width, 1000.0 * kelvin);
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

  PipelineBench bench;
  std::vector<StageRecorder> recorders;
};

/// One state of a camera and the scenes it sees in it.
struct Plan {
  bool polynomial;
  double detectorC;
  double housingExcessK;
  std::vector<double> scenesC;
};

std::vector<Plan> plansOf(EvaluationExtent extent) {
  const std::vector<double> some = {-10.0, 30.0, 120.0};
  if (extent == EvaluationExtent::Single) return {{false, 31.0, 4.0, {30.0}}};
  if (extent == EvaluationExtent::Quick) return {{false, 31.0, 4.0, some}};
  const std::vector<double> many = {-10.0, 10.0, 30.0, 50.0, 80.0, 120.0};
  std::vector<Plan> plans;
  for (const double detectorC : {10.0, 31.0, 45.0}) plans.push_back({false, detectorC, 4.0, many});
  for (const double detectorC : {10.0, 31.0, 45.0}) plans.push_back({false, detectorC, 0.0, some});
  for (const double detectorC : {10.0, 31.0, 45.0}) plans.push_back({true, detectorC, 0.0, some});
  return plans;
}

}  // namespace

void evaluateModel(std::string_view model, EvaluationExtent extent, FlatFieldReference reference,
                   const std::function<void(const EvaluationResult&)>& done) {
  const simulation::CameraSpec spec = simulation::makeCameraSpec(model);
  for (const Plan& plan : plansOf(extent)) {
    const std::string set = defaultCalibrationDirectory(std::string(model), 0, plan.polynomial);
    if (set.empty()) throw std::runtime_error(format("{}: no calibration files", model));
    const PrivateData data(set);
    Series series(spec, data.path());
    EvaluationCase conditions{0.0, plan.detectorC, plan.housingExcessK, plan.polynomial};
    series.warm(conditions, reference);
    for (const double sceneC : plan.scenesC) {
      conditions.sceneC = sceneC;
      done(series.measure(conditions));
    }
  }
}

}  // namespace tools
