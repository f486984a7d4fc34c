#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "acquisition/backends/simulated/cameraModel.h"
#include "acquisition/backends/simulated/faults.h"
#include "acquisition/backends/simulated/fixedPattern.h"
#include "acquisition/backends/simulated/randomSource.h"
#include "acquisition/backends/simulated/registers.h"
#include "acquisition/backends/simulated/scene.h"

namespace simulation {

/// Which stream types a camera offers.
enum class TypeVariant {
  Normal,
  None,
  Foreign,
  Mixed,
  Duplicates,
  Size640x512,
  Width1296,
  Width1280,
  Size648x480
};

/// One simulated camera.
struct CameraSpec {
  const CameraModel* model = nullptr;  ///< never null in a parsed scenario
  std::uint32_t serialNumber = 466001359;
  std::uint64_t seed = 1;
  SceneSpec scene;
  double pattern = 1.0;  ///< scales the fixed-pattern spreads, 0..10
  bool defects = true;
  std::optional<double> detectorCelsius;  ///< fixed; otherwise the detector warms up
  std::optional<double> housingExcessK;   ///< fixed; otherwise the housing warms up
  double startSeconds = 0.0;              ///< time since power-on at frame 0
  double rateHz = 0.0;                    ///< 0 = the model's own
  double jitterMs = 0.0;
  bool singleStep = false;    ///< samples are pumped one by one
  std::uint32_t buffers = 4;  ///< samples that wait for a late consumer before one is lost
  FlashVariant flash = FlashVariant::Normal;
  TypeVariant types = TypeVariant::Normal;
  std::vector<Fault> faults;

  /// Of this camera's fixed pattern and noise.
  std::uint64_t detectorSeed() const { return mixBits(seed, serialNumber); }
  DetectorOptions detectorOptions() const { return {detectorSeed(), pattern, defects}; }
  /// The defective pixels that the camera's frames show, by pixel.
  std::vector<Defect> defectivePixels() const;
};

struct Scenario {
  std::vector<CameraSpec> cameras;
};

/// Where a scenario is wrong. `line` counts from 1, parts of a short text like lines; 0 = the whole.
struct ScenarioError {
  std::string file;
  std::size_t line = 0;
  std::string reason;
};

/// A camera of a model with everything else at its default. An unknown model gives a Bramble 6.
CameraSpec makeCameraSpec(std::string_view modelId);

/// Reads a scenario: the path of a file, or a short text such as "bramble6,marlow3;scene=room;seed=7".
/// False fills `error` and leaves `scenario` alone. Keys and values: docs/simulator.md.
bool readScenario(const std::string& textOrPath, Scenario& scenario, ScenarioError& error);

/// `readScenario` on the text of a file that lies in `folder`; the name in `error` is the caller's.
bool parseScenarioFile(std::string_view text, const std::string& folder, Scenario& scenario,
                       ScenarioError& error);

}  // namespace simulation
