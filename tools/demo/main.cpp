// The demonstration: plays real thermal frames through a simulated camera of each model, one after the other,
// and leaves pictures and figures.

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "common/format.h"
#include "ombrix/OmbrixSDK.h"
#include "tools/common/arguments.h"
#include "tools/common/defaultCalibration.h"
#include "tools/common/evaluation.h"
#include "tools/common/evaluationReport.h"
#include "tools/common/imageFiles.h"
#include "tools/common/session.h"
#include "tools/demo/modelRun.h"
#include "tools/demo/stageSheet.h"

namespace {

using tools::ModelPlan;
using tools::ModelResult;
using tools::StreamFigures;

struct Play {
  const char* model;
  const char* scene;    ///< below the scenes' directory
  const char* options;  ///< how its values become temperatures
  int preset;
};

// The detectors have their whole fixed pattern and all their defects; the calibration set of each camera is
// made on first use, as it is for the command line.
constexpr Play kPlays[] = {
    {"marlow3", "single/320x240_moving_car.pgm", "fit=-8..15", 2},
    {"bramble6", "single/640x480_hoses.pgm", "fit=12..24", 4},
    {"hollis12", "single/640x512_aerial_tracks.pgm", "fit=-3..10", 5},
};

double rounded(double value) { return std::round(value * 1000.0) / 1000.0; }

nlohmann::ordered_json toJson(const StreamFigures& figures) {
  return {{"samplesProduced", figures.samplesProduced},
          {"distinctFrames", figures.distinctFrames},
          {"missed", figures.missed},
          {"framesPerSecond", rounded(figures.framesPerSecond)},
          {"medianLatencyMs", rounded(figures.medianLatencyMs)},
          {"p99LatencyMs", rounded(figures.p99LatencyMs)},
          {"unpaired", figures.unpaired}};
}

nlohmann::ordered_json toJson(const ModelResult& result, const ModelPlan& plan) {
  nlohmann::ordered_json json = {{"model", result.name},
                                 {"width", result.width},
                                 {"height", result.height},
                                 {"nominalFrameRate", result.nominalRate},
                                 {"scenario", plan.scenario}};
  json.update(toJson(result.colour));
  json["cpuShareOfOneCore"] = rounded(result.cpuShare);
  json["simulatorCpuShareOfOneCore"] = rounded(result.simulatorCpuShare);
  json["rawFrames"] = toJson(result.thermal);
  return json;
}

void require(const std::string& error) {
  if (!error.empty()) throw std::runtime_error(error);
}

void report(const ModelResult& result) {
  const StreamFigures& colour = result.colour;
  std::printf(
      "%-10s %4u x %-4u  %llu of %llu frames, %llu missed, %.1f fps, latency %.2f ms (99%%: %.2f ms), "
      "%.1f %% of a core\n",
      result.name.c_str(), result.width, result.height,
      static_cast<unsigned long long>(colour.distinctFrames),
      static_cast<unsigned long long>(colour.samplesProduced), static_cast<unsigned long long>(colour.missed),
      colour.framesPerSecond, colour.medianLatencyMs, colour.p99LatencyMs, 100.0 * result.cpuShare);
  std::fflush(stdout);
}

/// What each correction wins on the model, in front of a black body of 30 degC.
nlohmann::ordered_json stageFigures(const char* model) {
  nlohmann::ordered_json json;
  tools::evaluateModel(model, tools::EvaluationExtent::Single, tools::FlatFieldReference::BlackBody,
                       [&](const tools::EvaluationResult& result) { json = tools::toJson(model, result); });
  return json;
}

/// The scene's own temperatures lie close together: what is wrong with a picture shows.
std::string stagesScenario(const std::string& scenes) {
  return format("bramble6;scene=file:{}/single/640x480_hoses.pgm;fit=12..24;fpa=31;housing=4", scenes);
}

int run(int argc, char** argv) {
  std::string out = "demo-output";
  std::string scenes = "data/scenes";
  int frames = 600;
  std::uint32_t cellWidth = 640;
  CLI::App app("Plays real thermal frames through simulated cameras and measures the SDK.", "ombrix-demo");
  app.add_option("--out", out, "directory for pictures and report")
      ->check(tools::existingDirectory)
      ->capture_default_str();
  app.add_option("--scenes", scenes, "directory of the frames to play")
      ->check(tools::existingDirectory)
      ->capture_default_str();
  app.add_option("--frames", frames, "colour frames for each model")
      ->check(CLI::Range(10, 1000000))
      ->capture_default_str();
  app.add_option("--cell", cellWidth, "width of a picture on the contact sheet")
      ->check(CLI::IsMember({160, 320, 640, 1280}))
      ->capture_default_str();
  try {
    app.parse(tools::reversedArguments(argc, argv));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    std::fprintf(stderr, "ombrix-demo: %s\n", error.what());
    return 2;
  }

  tools::logToStandardError();
  // The SDK starts once per model; that the logger runs already is no news here.
  tools::leaveOutOfLog("Logger has already been initialized");
  nlohmann::ordered_json models = nlohmann::ordered_json::array();
  std::vector<std::pair<tools::Picture, tools::Picture>> pictures;
  for (const Play& play : kPlays) {
    const ModelPlan plan{play.model,
                         format("{};scene=file:{}/{};{}", play.model, scenes, play.scene, play.options),
                         frames, play.preset};
    ModelResult result = tools::runModel(plan);
    report(result);
    models.push_back(toJson(result, plan));
    require(tools::writePng(format("{}/{}.png", out, play.model), result.colourPicture.view()));
    require(tools::writePng(format("{}/{}-overlays.png", out, play.model), result.overlayPicture.view()));
    pictures.emplace_back(std::move(result.rawPicture), std::move(result.colourPicture));
  }
  const OmbrixSDK sdk;
  for (std::size_t i = 0; i < std::size(kPlays); ++i) models[i]["blackBody"] = stageFigures(kPlays[i].model);
  const std::string scenario = stagesScenario(scenes);
  nlohmann::ordered_json sheet = nlohmann::ordered_json::array();
  for (const Play& play : kPlays) sheet.push_back(format("{}: corrected frame, colour frame", play.model));
  for (tools::StagePair& pair :
       tools::showStages(scenario, tools::defaultCalibrationDirectory(scenario, 0, false))) {
    sheet.push_back(format("before and after {}", pair.stage));
    pictures.emplace_back(std::move(pair.before), std::move(pair.after));
  }
  require(tools::writePng(out + "/contact-sheet.png", tools::contactSheet(pictures, cellWidth).view()));
  const std::string text =
      nlohmann::ordered_json{{"models", models}, {"contactSheetRows", sheet}}.dump(2) + "\n";
  require(tools::writeFile(out + "/report.json", text.data(), text.size()));
  std::printf("pictures and report.json are in %s\n", out.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ombrix-demo: %s\n", error.what());
    return 1;
  }
}
