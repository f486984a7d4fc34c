#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/common/pipelineBench.h"
#include "tools/common/stageFigures.h"

namespace tools {

/// A black body before a simulated camera in a certain state.
struct EvaluationCase {
  double sceneC = 30.0;
  double detectorC = 31.0;
  double housingExcessK = 4.0;
  bool polynomial = false;  ///< corrected with polynomials, not with tables
};

struct StageResult {
  const char* stage = "";
  StageFigures figures;
  bool radiometric = false;  ///< levels are temperatures from the flat field on
  double meanErrorK = 0.0;   ///< of a radiometric picture
};

struct EvaluationResult {
  EvaluationCase conditions;
  std::vector<StageResult> stages;  ///< in the order of the pipeline
  double noiseK = 0.0;              ///< of the model, at a scene of 25 degC
  double expectedTemporalMk = 0.0;  ///< the same at this scene's temperature
  std::vector<std::string> missed;  ///< criteria that it does not meet
};

/// How much is measured.
enum class EvaluationExtent {
  Single,  ///< tables, one state of the camera, a black body of 30 degC
  Quick,   ///< tables, one state of the camera, three scenes
  Full     ///< tables and polynomials, detector from 10 to 45 degC, housing warmer or not, -10 to 120 degC
};

/// Runs a simulated camera of a model frame by frame through the pipeline as everyone gets it, each state of
/// the camera with a shutter run first, and measures 24 frames after each stage. `done` is told
/// each result. Needs an `OmbrixSDK` object. Leaves no file behind but the default calibration set.
/// Throws std::runtime_error when it cannot be done.
void evaluateModel(std::string_view model, EvaluationExtent extent, FlatFieldReference reference,
                   const std::function<void(const EvaluationResult&)>& done);

}  // namespace tools
