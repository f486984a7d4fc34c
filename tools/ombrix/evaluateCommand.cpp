#include <cmath>
#include <nlohmann/json.hpp>

#include "acquisition/backends/simulated/cameraModel.h"
#include "common/format.h"
#include "tools/common/evaluation.h"
#include "tools/common/progressLine.h"
#include "tools/common/session.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

using nlohmann::ordered_json;

/// Ends an evaluation half way.
struct Interruption {};

double rounded(double value, double digits) { return std::round(value * digits) / digits + 0.0; }

ordered_json toJson(const StageResult& stage) {
  ordered_json object = {{"stage", stage.stage},
                         {"spatialMk", rounded(stage.figures.spatialMk, 100.0)},
                         {"spatialAllMk", rounded(stage.figures.spatialAllMk, 100.0)},
                         {"columnMk", rounded(stage.figures.columnMk, 100.0)},
                         {"temporalMk", rounded(stage.figures.temporalMk, 100.0)},
                         {"meanErrorC", nullptr}};
  if (stage.radiometric) object["meanErrorC"] = rounded(stage.meanErrorK, 10000.0);
  return object;
}

ordered_json toJson(std::string_view model, const EvaluationResult& result) {
  ordered_json stages = ordered_json::array();
  for (const StageResult& stage : result.stages) stages.push_back(toJson(stage));
  return {{"model", model},
          {"calibration", result.conditions.polynomial ? "polynomial" : "tables"},
          {"sceneC", result.conditions.sceneC},
          {"detectorC", result.conditions.detectorC},
          {"housingExcessK", result.conditions.housingExcessK},
          {"netdMk", rounded(1000.0 * result.noiseK, 100.0)},
          {"expectedTemporalMk", rounded(result.expectedTemporalMk, 100.0)},
          {"stages", stages},
          {"missed", result.missed}};
}

void printTable(std::string_view name, const EvaluationResult& result) {
  const EvaluationCase& conditions = result.conditions;
  printLine(format("{}: black body {} C, detector {} C, housing +{} K, {}; noise {:.1f} mK expected", name,
                   conditions.sceneC, conditions.detectorC, conditions.housingExcessK,
                   conditions.polynomial ? "polynomials" : "tables", result.expectedTemporalMk));
  printLine(format("  {:<22}{:>11}{:>11}{:>11}{:>11}{:>11}", "after", "spatial mK", "all mK", "column mK",
                   "time mK", "error C"));
  for (const StageResult& stage : result.stages) {
    printLine(format("  {:<22}{:>11.1f}{:>11.1f}{:>11.2f}{:>11.1f}{:>11}", stage.stage,
                     stage.figures.spatialMk, stage.figures.spatialAllMk, stage.figures.columnMk,
                     stage.figures.temporalMk, stage.radiometric ? format("{:.3f}", stage.meanErrorK) : "-"));
  }
  for (const std::string& criterion : result.missed) printLine("  MISSED: " + criterion);
}

}  // namespace

void evaluatePipeline(const Options& options) {
  const auto extent = options.quick ? EvaluationExtent::Quick : EvaluationExtent::Full;
  ordered_json results = ordered_json::array();
  unsigned long long measured = 0;
  unsigned long long failed = 0;
  try {
    for (const auto& model : simulation::cameraModels()) {
      if (!options.model.empty() && options.model != model.id) continue;
      evaluateModel(model.id, extent, [&](const EvaluationResult& result) {
        if (interrupted()) throw Interruption();
        ++measured;
        if (!result.missed.empty()) ++failed;
        if (!options.json) return printTable(model.name, result);
        results.push_back(toJson(model.id, result));
      });
    }
  } catch (const Interruption&) {
  }
  if (options.json) return printLine(ordered_json{{"results", results}, {"missed", failed}}.dump(2));
  printLine(format("{} of {} cases meet all criteria", measured - failed, measured));
}

}  // namespace tools
