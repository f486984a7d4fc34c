#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"
#include "tools/ombrix/controls.h"

namespace tools {

/// A pixel, from the top left corner.
struct Point {
  int x = 0;
  int y = 0;
};

/// What the command line asked for. The texts of --help say what each means.
struct Options {
  int verbosity = 0;
  std::string data;
  std::string scenario;
  bool json = false;
  int camera = 0;
  bool parameters = false;
  bool dump = false;
  bool raw = false;
  bool colour = false;
  unsigned long long count = 0;  ///< 0: until interrupted
  int preset = -1;               ///< -1: as opened
  std::vector<std::string> overlays;
  std::string out;
  Point at;
  float emissivity = 1.0f;
  /// Of a shutter run: with fewer, the noise of its mean shows beside the shutter's own gradient.
  int frames = 64;
  int seconds = 4;  ///< for which the self-test watches frames
  Controls controls;
  bool madeUpData = false;  ///< `data` is the set made for a simulated camera
  bool quick = false;
  bool shutter = false;     ///< evaluate with shutter runs before the closed shutter
  std::string model;        ///< to evaluate; empty: all
  std::string kind;         ///< of a snapshot: raw, cooked or colour
  bool polynomial = false;  ///< simulated cameras get polynomial files
};

enum ExitCode : int { kExitDone = 0, kExitFailure = 1, kExitUsage = 2 };

/// Ends a command: one line for standard error (none when empty), and the exit code.
class CommandFailure : public std::runtime_error {
 public:
  explicit CommandFailure(const std::string& line, ExitCode exitCode = kExitFailure)
      : std::runtime_error(line), code(exitCode) {}
  const ExitCode code;
};

// The subcommands. Each prints data on standard output only, and throws CommandFailure.
void listCameras(const Options& options, OmbrixSDK& sdk);
void showCamera(const Options& options, OmbrixSDK& sdk);
void streamCamera(const Options& options, OmbrixSDK& sdk);
void measureTemperature(const Options& options, OmbrixSDK& sdk);
void calibrateCamera(const Options& options, OmbrixSDK& sdk);
void writeSnapshot(const Options& options, OmbrixSDK& sdk);
/// Says what of a camera holds; throws when a check fails.
void selftestCamera(const Options& options, OmbrixSDK& sdk);
/// Works on simulated cameras of its own. An `OmbrixSDK` object must exist.
void evaluatePipeline(const Options& options);

/// Tells what stands between the user and a picture; true when one can be taken. No `OmbrixSDK` object may
/// exist.
bool examineSystem(const Options& options);

/// What is said when there is none.
extern const char* const kNoCamera;
/// Throws unless there is a camera `index`.
void requireCamera(OmbrixSDK& sdk, int index);
/// The camera the options name, streaming; throws when it cannot be opened.
std::unique_ptr<Ombrix> openCamera(const Options& options, OmbrixSDK& sdk);
/// Waits two seconds for what `deliver`, a getter that takes milliseconds, brings; in slices, between which
/// Ctrl-C ends the waiting. False when nothing came.
bool awaitFrame(const std::function<bool(int)>& deliver);
/// What is thrown when nothing came.
CommandFailure noFrame(const Options& options);
/// Leaves what the library says about the slices out of the log.
void expectSlices();
/// Waits for the camera's next frame; false after Ctrl-C. Throws when none comes.
bool nextFrame(const Options& options, Ombrix& camera, Ombrix::metadata& metadata);
/// Passes over the frames of a fresh stream that the corrections do not follow yet.
void settle(const Options& options, Ombrix& camera, Ombrix::metadata& metadata);
/// A shutter run to its end. Throws after Ctrl-C, which ends it.
void runShutter(int index, Ombrix& camera, int frames);
/// Writes one line of data, and throws when standard output cannot take it.
void printLine(const std::string& line);

}  // namespace tools
