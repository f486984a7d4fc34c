#include "tools/ombrix/controls.h"

#include <cmath>
#include <map>

#include "acquisition/imageAcquisition.h"
#include "acquisition/transport/UVCConnection.h"
#include "core/deviceRegistry.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

constexpr int kRowPasses = 2;
constexpr float kRowStrength = 0.25f;

const std::map<std::string, bool> kSwitch = {{"on", true}, {"off", false}};
const std::map<std::string, bool> kShutter = {{"closed", true}, {"open", false}};
const std::map<std::string, int> kMappings = {
    {"table", 0}, {"linear", 1}, {"manual", 2}, {"equalized", 3}, {"window", 4}};
const std::map<std::string, int> kInterpolations = {
    {"nearest", 0}, {"bilinear", 1}, {"catmull-rom", 2}, {"lanczos", 3}};

/// Takes the keys of a table; the help shows `words` instead of the whole table.
template <typename T>
CLI::Validator named(const std::map<std::string, T>& table, const char* words) {
  CLI::Validator validator = CLI::CheckedTransformer(table);
  return validator.description(words);
}

void addSwitch(CLI::App& command, const char* name, std::optional<bool>& value, const char* text) {
  command.add_option(name, value, text)->transform(named(kSwitch, "on|off"))->type_name("");
}

/// A validator's ranges let NaN pass.
void requireNumbers(const Controls& controls) {
  const auto require = [](const char* name, float value) {
    if (!std::isfinite(value)) throw CommandFailure(std::string(name) + ": not a number", kExitUsage);
  };
  if (controls.temporal) require("--temporal", *controls.temporal);
  if (controls.rate) require("--rate", *controls.rate);
  if (controls.rotationDegrees) require("--rotate", *controls.rotationDegrees);
  if (controls.zoom) require("--zoom", *controls.zoom);
  for (const float bound : controls.bounds) require("--bounds", bound);
  for (const float limit : controls.bandLimits) require("--band-limits", limit);
}

/// Without a call of the library's own the state is set as its setters do it: between two frames.
void applyInternals(const Controls& controls, int index) {
  const registry::DeviceUser camera(index, LOG_HERE);
  if (!camera) return;
  {
    FairLock lock(frameMutex);
    auto& data = camera->processing;
    if (controls.rotationDegrees) data.output.rotationDegrees = *controls.rotationDegrees;
    if (controls.zoom) data.output.secondZoomFactor = *controls.zoom;
    if (controls.interpolation)
      data.output.secondInterpolation = static_cast<std::uint8_t>(*controls.interpolation);
    if (controls.levelCompensation) data.mapping.levelCompensation = true;
    if (controls.noSpatialFilter) data.output.spatialFiltering = false;
    if (controls.rowDestriping) {
      data.destriping.rowDestripingPasses = kRowPasses;
      data.destriping.strength = kRowStrength;
    }
    if (controls.fileUnder) {
      data.calibration.autoFFC = true;
      data.calibration.saveCalibrationAt25 = *controls.fileUnder == 25;
      data.calibration.saveCalibrationAt50 = *controls.fileUnder == 50;
    }
    if (!controls.bandLimits.empty()) {
      data.mapping.minMilliKelvinPerLevel = controls.bandLimits[0];
      data.mapping.maxMilliKelvinPerLevel = controls.bandLimits[1];
    }
  }
  if (controls.negate) camera->processing.palette.setNegation(true);
}

void applyMapping(const Controls& controls, Ombrix& camera) {
  if (!controls.mapping && controls.bounds.empty()) return;
  const auto mode = controls.mapping          ? static_cast<Ombrix::mapping>(*controls.mapping)
                    : controls.bounds.empty() ? camera.getMappingMode()
                                              : Ombrix::mappingManual;
  constexpr float kKeep = -1.0f;  // a bound out of range stays as it is
  camera.setMappingMode(mode, controls.bounds.empty() ? kKeep : controls.bounds[0],
                        controls.bounds.empty() ? kKeep : controls.bounds[1]);
}

}  // namespace

void addControls(CLI::App& command, Controls& controls) {
  command.option_defaults()->group("Corrections");
  addSwitch(command, "--ffc", controls.flatField, "manual flat field, on or off (likewise below)");
  addSwitch(command, "--defects", controls.defects, "repair of defective pixels");
  addSwitch(command, "--shutterless", controls.shutterless, "flat field by tables or polynomials");
  addSwitch(command, "--radiometric", controls.radiometric, "thermographic table");
  addSwitch(command, "--destripe", controls.destriping, "removal of column and row stripes");
  command.add_flag("--row-destripe", controls.rowDestriping,
                   "removal of row stripes, whatever --destripe says");
  command.add_option("--temporal", controls.temporal, "weight of the past in the temporal filter; 0 = off")
      ->check(CLI::Range(0.0, 1.0));
  command.add_flag("--no-spatial-filter", controls.noSpatialFilter, "without the spatial filter");
  command.add_option("--run-ffc", controls.runFrames, "shutter run of so many frames first")
      ->check(CLI::Range(1, 65535));
  command
      .add_option("--file-under", controls.fileUnder,
                  "calibrate as the sensor warms, tables into data/025 or data/050")
      ->check(CLI::IsMember({25, 50}));

  command.option_defaults()->group("Picture");
  command
      .add_option("--mapping", controls.mapping, "gain control: table, linear, manual, equalized or window")
      ->transform(named(kMappings, "NAME"))
      ->type_name("");
  command.add_option("--bounds", controls.bounds, "LOW,HIGH: levels of the manual mapping")
      ->delimiter(',')
      ->expected(2)
      ->check(CLI::Range(0.0, 65535.0));
  command
      .add_option("--band-limits", controls.bandLimits, "LOW,HIGH: mK per grey level of the window mapping")
      ->delimiter(',')
      ->expected(2)
      ->check(CLI::Range(0.0, 100000.0));
  command.add_flag("--level-compensation", controls.levelCompensation, "hold the mean level");
  command.add_option("--rotate", controls.rotationDegrees, "degrees, clockwise")
      ->check(CLI::Range(-360.0, 360.0));
  command.add_option("--zoom", controls.zoom, "about the centre")->check(CLI::Range(0.01, 64.0));
  command
      .add_option("--interpolation", controls.interpolation,
                  "of the zoom: nearest, bilinear, catmull-rom or lanczos")
      ->transform(named(kInterpolations, "NAME"))
      ->type_name("");
  command.add_flag("--negate", controls.negate, "complement of all colours");

  command.option_defaults()->group("Camera");
  command.add_option("--shutter", controls.shutterClosed, "open or closed")
      ->transform(named(kShutter, "open|closed"))
      ->type_name("");
  addSwitch(command, "--free-run", controls.freeRun, "off: a frame per sensor temperature or trigger");
  command.add_flag("--trigger", controls.trigger, "request every frame by software");
  command.add_option("--rate", controls.rate, "processed frames per second at most")
      ->check(CLI::Range(1.0, 1000.0));
  command.option_defaults()->group("Options");
}

void applyControls(const Controls& controls, int index, Ombrix& camera) {
  requireNumbers(controls);
  if (controls.shutterClosed) *controls.shutterClosed ? camera.closeShutter() : camera.openShutter();
  if (controls.defects) camera.setDefectivePixelsCorrection(*controls.defects);
  if (controls.shutterless) camera.setShutterlessCorrection(*controls.shutterless);
  if (controls.radiometric) camera.setRadiometricCorrection(*controls.radiometric);
  if (controls.destriping) camera.setColumnDestriping(*controls.destriping);
  if (controls.temporal) camera.setTemporalFiltering(*controls.temporal);
  if (controls.rate) camera.setProcessingFrameRate(*controls.rate);
  applyMapping(controls, camera);
  applyInternals(controls, index);
  if (controls.runFrames) runShutter(index, camera, *controls.runFrames);
  if (controls.flatField) camera.setFFC(*controls.flatField);
  if (controls.freeRun) camera.setFreeRun(*controls.freeRun);
}

double kelvinPerLevel(int index) {
  const registry::DeviceUser camera(index, LOG_HERE);
  if (!camera) return 0.0;
  FairLock lock(frameMutex);
  return static_cast<double>(camera->processing.radiometry.rangeSpanK) / 65535.0;
}

bool hasShutter(int index) {
  const registry::DeviceUser camera(index, LOG_HERE);
  return camera && camera->device.connection && camera->device.connection->registers().hasShutter();
}

}  // namespace tools
