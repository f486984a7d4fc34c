#include "tools/common/evaluationReport.h"

#include <cmath>

namespace tools {
namespace {

using nlohmann::ordered_json;

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

}  // namespace

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

}  // namespace tools
