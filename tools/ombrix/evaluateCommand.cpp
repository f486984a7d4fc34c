#include <atomic>
#include <nlohmann/json.hpp>

#include "acquisition/backends/simulated/cameraModel.h"
#include "common/format.h"
#include "tools/common/evaluation.h"
#include "tools/common/evaluationReport.h"
#include "tools/common/progressLine.h"
#include "tools/common/session.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

using nlohmann::ordered_json;

/// A case in a few words, such as "Marlow 3 at -10 C (detector 45 C, housing +4 K, tables)".
std::string nameOf(std::string_view model, const EvaluationCase& conditions) {
  return format("{} at {} C (detector {} C, housing +{} K, {})", model, conditions.sceneC,
                conditions.detectorC, conditions.housingExcessK,
                conditions.polynomial ? "polynomials" : "tables");
}

/// Ends an evaluation half way.
struct Interruption {};

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
  const auto reference = options.shutter ? FlatFieldReference::Shutter : FlatFieldReference::BlackBody;
  ordered_json results = ordered_json::array();
  std::atomic<unsigned long long> measured{0};
  std::vector<std::string> failed;
  try {
    const ProgressLine progress([&] { return format("{} cases measured", measured.load()); },
                                options.json ? Output::None : Output::Lines);
    for (const auto& model : simulation::cameraModels()) {
      if (!options.model.empty() && options.model != model.id) continue;
      evaluateModel(model.id, extent, reference, [&](const EvaluationResult& result) {
        if (interrupted()) throw Interruption();
        ++measured;
        if (!result.missed.empty()) failed.push_back(nameOf(model.name, result.conditions));
        if (!options.json) return printTable(model.name, result);
        results.push_back(toJson(model.id, result));
      });
    }
  } catch (const Interruption&) {
  }
  if (options.json) {
    printLine(ordered_json{{"results", results}, {"missed", failed.size()}}.dump(2));
  } else {
    printLine(format("{} of {} cases meet all criteria", measured.load() - failed.size(), measured.load()));
  }
  if (interrupted()) throw CommandFailure(format("interrupted after {} cases", measured.load()));
  if (failed.empty()) return;
  std::string line = format("{} of {} cases miss criteria: ", failed.size(), measured.load());
  for (const std::string& name : failed) line += (&name == &failed.front() ? "" : "; ") + name;
  throw CommandFailure(line);
}

}  // namespace tools
