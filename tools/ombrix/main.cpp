// The command line: looks for cameras, shows what they tell about themselves, and streams their frames.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <set>
#include <system_error>

#include "acquisition/backends/simulated/cameraModel.h"
#include "acquisition/backends/simulated/scenario.h"
#include "common/format.h"
#include "ombrix/version.h"
#include "platform/program.h"
#include "platform/system.h"
#include "tools/common/arguments.h"
#include "tools/common/defaultCalibration.h"
#include "tools/common/session.h"
#include "tools/ombrix/InterruptWatch.h"
#include "tools/ombrix/commands.h"
#include "tools/ombrix/overlays.h"

namespace tools {

const char* const kNoCamera =
    "no camera found: 'ombrix doctor' tells what is in the way, '--simulate bramble6' does without one";

void requireCamera(OmbrixSDK& sdk, int index) {
  const int count = sdk.getDeviceCount();
  if (index < count) return;
  throw CommandFailure(
      count == 0 ? std::string(kNoCamera)
                 : format("no camera {}: {} found, counted from 0; 'ombrix list' shows them", index, count));
}

std::unique_ptr<Ombrix> openCamera(const Options& options, OmbrixSDK& sdk) {
  requireCamera(sdk, options.camera);
  auto camera = std::make_unique<Ombrix>(options.camera, options.data);
  const std::string error = camera->getErrorText();
  if (error.empty()) throw CommandFailure(format("camera {}: it could not be opened", options.camera));
  if (error != "none") throw CommandFailure(format("camera {}: {}", options.camera, error));
  return camera;
}

void printLine(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  if (std::fflush(stdout) != 0) {
    if (errno == EPIPE) throw CommandFailure("", kExitDone);  // whoever read has what they wanted
    throw CommandFailure("cannot write to standard output: " + std::generic_category().message(errno));
  }
}

}  // namespace tools

namespace {

using tools::Options;

constexpr const char* kFooter =
    "Exit codes: 0 done, 1 failed (no camera, no frame, a file that cannot be written, a check of selftest "
    "or\n"
    "a criterion of evaluate missed) or interrupted before it was done, 2 wrong arguments.\n"
    "Data goes to standard output, the log to standard error.";

constexpr unsigned long long kLargestCount = 1'000'000'000'000;

/// Each subcommand shares the general options, so they may stand before or behind its name.
CLI::App* addCommand(CLI::App& app, const char* name, const char* description) {
  CLI::App* command = app.add_subcommand(name, description);
  command->fallthrough();
  command->footer(std::string("General options, such as --simulate and --data: ombrix --help.\n") + kFooter);
  return command;
}

/// A check for numbers that count something from 0.
CLI::Validator numberOf(const char* what) {
  return {[what](std::string& text) {
            int number = 0;
            const char* const end = text.data() + text.size();
            const auto read = std::from_chars(text.data(), end, number);
            if (read.ec == std::errc{} && read.ptr == end && number >= 0) return std::string();
            return format("'{}' is no number of a {}, such as 0", text, what);
          },
          ""};
}

void addCamera(CLI::App& command, Options& options) {
  command.add_option("--camera", options.camera, "index of the camera (see list)")
      ->check(numberOf("camera"))
      ->capture_default_str();
}

void addCount(CLI::App& command, Options& options) {
  command.add_option("--count", options.count, "number of frames (without it: until Ctrl-C)")
      ->check(CLI::Range(1ULL, kLargestCount));
}

void addInfo(CLI::App& app, Options& options) {
  CLI::App* info = addCommand(app, "info", "open a camera and show what it tells about itself");
  addCamera(*info, options);
  info->add_flag("--json", options.json, "one JSON object");
  CLI::Option* parameters =
      info->add_flag("--parameters", options.parameters, "show the parameter block in the camera's flash");
  info->add_flag("--dump", options.dump, "with the bytes of its arrays (10 MB are read)")->needs(parameters);
}

void addStream(CLI::App& app, Options& options) {
  CLI::App* stream = addCommand(app, "stream", "open a camera and show its frames, a line for each");
  addCamera(*stream, options);
  addCount(*stream, options);
  CLI::Option* raw = stream->add_flag("--raw", options.raw, "thermal frames, 16-bit levels (the default)");
  CLI::Option* colour = stream->add_flag("--colour,--color", options.colour, "coloured frames");
  colour->excludes(raw);
  stream->add_option("--preset", options.preset, "colour preset")->check(numberOf("preset"))->needs(colour);
  tools::addOverlays(*stream, options.overlays)->needs(colour);
  stream->add_option("--out", options.out,
                     "existing directory for the frames: 16-bit PGM for raw, PNG for coloured ones");
  stream->add_flag("--json", options.json, "one JSON object per frame");
  addControls(*stream, options.controls);
}

CLI::App* addMeasure(CLI::App& app, Options& options, std::string& at) {
  CLI::App* measure = addCommand(app, "measure", "show the temperature of a pixel, a line per frame");
  addCamera(*measure, options);
  measure->add_option("--at", at, "column and row of the pixel, from 0, such as 320,240")->required();
  measure->add_option("--emissivity", options.emissivity, "of the surface, above 0, at most 1")
      ->check(CLI::Range(0.001, 1.0))
      ->capture_default_str();
  addCount(*measure, options);
  measure->add_flag("--json", options.json, "one JSON object per frame");
  return measure;
}

void addCalibrate(CLI::App& app, Options& options) {
  CLI::App* calibrate = addCommand(
      app, "calibrate", "close the shutter, make the table of the manual flat field, show what it wins");
  addCamera(*calibrate, options);
  calibrate->add_option("--frames", options.frames, "frames of the shutter run")
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  calibrate->add_flag("--json", options.json, "one JSON object");
}

void addSelftest(CLI::App& app, Options& options) {
  CLI::App* selftest =
      addCommand(app, "selftest",
                 "open a camera, try everything out, and say what holds; exit code 1 when a check fails");
  addCamera(*selftest, options);
  selftest->add_option("--seconds", options.seconds, "for which frames are watched")
      ->check(CLI::Range(1, 3600))
      ->capture_default_str();
  selftest->add_flag("--json", options.json, "one JSON object");
}

void addSnapshot(CLI::App& app, Options& options) {
  CLI::App* snapshot = addCommand(app, "snapshot", "open a camera and write one picture to a file");
  addCamera(*snapshot, options);
  snapshot
      ->add_option("--kind", options.kind,
                   "raw: corrected 16-bit levels, cooked: 16-bit levels after gain control, or colour")
      ->check(CLI::IsMember({"raw", "cooked", "colour", "color"}))
      ->default_val("raw");
  snapshot->add_option("--out", options.out, "the file: .tiff, .tif or .png")->required();
}

void addEvaluate(CLI::App& app, Options& options) {
  CLI::App* evaluate = addCommand(
      app, "evaluate",
      "measure what each correction wins, on simulated cameras before black bodies; exit code 1 when a "
      "criterion is missed");
  std::set<std::string> models;
  for (const auto& model : simulation::cameraModels()) models.emplace(model.id);
  evaluate->add_option("--model", options.model, "of the camera (without it: all)")
      ->check(CLI::IsMember(models));
  evaluate->add_flag("--quick", options.quick, "tables only, one detector temperature, three scenes");
  evaluate->add_flag(
      "--shutter", options.shutter,
      "shutter runs before the camera's own shutter, which is not quite even; without it before a "
      "black body of 30 C");
  evaluate->add_flag("--json", options.json, "one JSON object");
}

/// "X,Y", both whole and not negative.
tools::Point readPoint(const std::string& text) {
  tools::Point point;
  const char* const end = text.data() + text.size();
  const auto column = std::from_chars(text.data(), end, point.x);
  const bool comma = column.ec == std::errc{} && column.ptr != end && *column.ptr == ',';
  if (comma) {
    const auto row = std::from_chars(column.ptr + 1, end, point.y);
    if (row.ec == std::errc{} && row.ptr == end && point.x >= 0 && point.y >= 0) return point;
  }
  throw tools::CommandFailure(format("--at: '{}' is no column and row such as 320,240", text),
                              tools::kExitUsage);
}

/// A scenario that cannot be read would only look like "no camera" later on.
/// source: where the text comes from.
void checkScenario(const char* source, const std::string& text) {
  simulation::Scenario scenario;
  simulation::ScenarioError error;
  if (!simulation::readScenario(text, scenario, error)) {
    const std::string place = error.line == 0 ? "" : format(", line {}", error.line);
    throw tools::CommandFailure(
        format("{}: {}{}: {}", source, error.file.empty() ? text : error.file, place, error.reason),
        tools::kExitUsage);
  }
}

/// The scenario that the arguments or the environment name.
void useScenario(const Options& options) {
  if (!options.scenario.empty()) {
    checkScenario("--simulate", options.scenario);
    return tools::simulate(options.scenario);
  }
  const std::string text = platform::environmentVariable("OMBRIX_SIMULATION").value_or("");
  const bool simulated = platform::environmentVariable("OMBRIX_BACKEND") == "simulated";
  if (simulated && !text.empty()) checkScenario("OMBRIX_SIMULATION", text);
}

/// Does what the subcommand asks for. Returns the exit code.
int obey(const std::string& command, Options& options) {
  if (command == "doctor") return tools::examineSystem(options) ? tools::kExitDone : tools::kExitFailure;
  OmbrixSDK sdk(static_cast<OmbrixSDK::verbosityLevel>(options.verbosity));
  if (!OmbrixSDK::mStatus) throw tools::CommandFailure("cameras cannot be listed");
  if (command == "evaluate") {
    tools::evaluatePipeline(options);
    return tools::kExitDone;
  }
  if (command == "list") {
    tools::listCameras(options, sdk);
    return tools::kExitDone;
  }
  // A simulated camera's files can be made up; the log has its level only now.
  if (!options.scenario.empty() && options.data.empty()) {
    options.data = tools::defaultCalibrationDirectory(options.scenario, options.camera, options.polynomial);
    options.madeUpData = true;
  }
  if (command == "info") tools::showCamera(options, sdk);
  if (command == "selftest") tools::selftestCamera(options, sdk);
  if (command == "stream") tools::streamCamera(options, sdk);
  if (command == "calibrate") tools::calibrateCamera(options, sdk);
  if (command == "snapshot") tools::writeSnapshot(options, sdk);
  if (command == "measure") tools::measureTemperature(options, sdk);
  return tools::kExitDone;
}

/// The same, with an end within a second after Ctrl-C.
int obeyUntilInterrupted(const std::string& command, Options& options) {
  // Without a count there is no other end.
  const bool endless = options.count == 0 && (command == "stream" || command == "measure");
  const tools::InterruptWatch watch(endless ? tools::kExitDone : tools::kExitFailure);
  try {
    return obey(command, options);
  } catch (const tools::CommandFailure& failure) {
    // What failed since Ctrl-C did so because of it.
    if (!tools::interrupted() || failure.code != tools::kExitFailure) throw;
    if (endless) return tools::kExitDone;
    if (std::string(failure.what()).rfind("interrupted", 0) == 0) throw;
    throw tools::CommandFailure("interrupted");
  }
}

/// A check for texts.
std::string named(const std::string& text) { return text.empty() ? "it names nothing" : ""; }

int run(int argc, char** argv) {
  Options options;
  std::string calibration = "tables";
  CLI::App app("Works with uncooled thermal USB cameras.", "ombrix");
  app.set_help_all_flag("--help-all", "the same for every subcommand");
  app.set_version_flag("--version", "ombrix " OMBRIX_VERSION);
  app.footer(kFooter);
  app.require_subcommand(0, 1);  // none is judged below: an unknown word is named first then
  app.add_option("--verbose", options.verbosity, "log level: 0 errors, 1 warnings, 2 information, 3 debug")
      ->check(CLI::Range(0, 3))
      ->capture_default_str();
  app.add_option("--data", options.data, "directory of the calibration files (without it: data)")
      ->check(tools::existingDirectory);
  app.add_option(
         "--simulate", options.scenario,
         "simulated cameras instead of real ones: a scenario's text or file, such as bramble6,marlow3")
      ->check(named);
  app.add_option("--calibration", calibration,
                 "form of the files made for simulated cameras without --data: tables or polynomial")
      ->check(CLI::IsMember({"tables", "polynomial"}))
      ->capture_default_str();

  CLI::App* list = addCommand(app, "list", "list the cameras found");
  list->add_flag("--json", options.json, "one JSON array");
  CLI::App* doctor = addCommand(app, "doctor", "tell what stands between you and a picture");
  doctor->add_flag("--json", options.json, "one JSON object");
  addInfo(app, options);
  addSelftest(app, options);
  addStream(app, options);
  std::string at;
  CLI::App* measure = addMeasure(app, options, at);
  addCalibrate(app, options);
  addSnapshot(app, options);
  addEvaluate(app, options);

  try {
    app.parse(tools::reversedArguments(argc, argv));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help, --version
    std::string line = error.what();
    std::replace(line.begin(), line.end(), '\n', ' ');
    const auto commands = app.get_subcommands();
    const std::string page = commands.empty() ? "" : " " + commands.front()->get_name();
    throw tools::CommandFailure(format("{} (see ombrix{} --help)", line, page), tools::kExitUsage);
  }

  if (app.get_subcommands().empty()) {
    throw tools::CommandFailure(
        "a subcommand is needed: list, doctor, info, selftest, stream, measure, calibrate, snapshot or "
        "evaluate "
        "(see --help)",
        tools::kExitUsage);
  }

  options.polynomial = calibration == "polynomial";
  if (options.json) tools::requireSilence(options.overlays);
  if (measure->parsed()) options.at = readPoint(at);

  tools::logToStandardError();
  tools::expectSlices();
  tools::catchInterrupts();
  platform::outliveReaders();
  useScenario(options);
  return obeyUntilInterrupted(app.get_subcommands().front()->get_name(), options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const tools::CommandFailure& failure) {
    if (*failure.what() != '\0') std::fprintf(stderr, "ombrix: %s\n", failure.what());
    return failure.code;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ombrix: %s\n", error.what());
    return tools::kExitFailure;
  }
}
