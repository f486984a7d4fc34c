#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "calibration/ffcFile.h"
#include "common/format.h"
#include "core/deviceRegistry.h"
#include "ombrix/Ombrix.h"
#include "tools/common/privateData.h"
#include "tools/common/session.h"
#include "tools/common/stageFigures.h"
#include "tools/ombrix/ClosedShutter.h"
#include "tools/ombrix/commands.h"
#include "tools/ombrix/controls.h"

namespace tools {
namespace {

constexpr unsigned kResidualFrames = 16;

class Calibration {
 public:
  Calibration(const Options& wanted, Ombrix& openedCamera) : options(wanted), camera(openedCamera) {
    std::uint64_t columns = 0;
    std::uint64_t rows = 0;
    camera.getImageSize(columns, rows);
    width = static_cast<std::size_t>(columns);
    levels.resize(columns * rows);
    kinds.assign(columns * rows, PixelKind::Good);
    std::vector<std::pair<int, int>> defects;
    camera.getDefectivePixelsCorrection(defects);
    for (const auto& [x, y] : defects) {
      const auto at = static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x);
      if (x >= 0 && y >= 0 && at < kinds.size()) kinds[at] = PixelKind::Defective;
    }
    if (width == 320 || width == 640) kinds.back() = PixelKind::NoPicture;  // the temperature word
  }

  /// What is left of the fixed pattern, from the mean of some frames.
  StageFigures residual() {
    for (unsigned i = 0; i < kShutterSettlingFrames; ++i) next();
    StageRecorder recorder(levels.size());
    for (unsigned i = 0; i < kResidualFrames; ++i) {
      next();
      recorder.add(levels);
    }
    return recorder.figures(kinds, width, 1000.0 * kelvinPerLevel(options.camera));
  }

  void run() {
    runShutter(options.camera, camera, options.frames);
    if (!camera.getFFC())
      throw CommandFailure(format("camera {}: the shutter run gave no table", options.camera));
  }

 private:
  void next() {
    auto* const buffer = reinterpret_cast<std::uint8_t*>(levels.data());
    if (awaitFrame([&](int ms) { return camera.getRawFrame(buffer, nullptr, ms); })) return;
    if (interrupted()) throw CommandFailure("interrupted");
    throw noFrame(options);
  }

  const Options& options;
  Ombrix& camera;
  std::size_t width = 0;
  std::vector<std::uint16_t> levels;
  std::vector<PixelKind> kinds;
};

/// Whether the table that is in force lies whole where a camera looks for it.
bool tableKept(int index) {
  const registry::DeviceUser camera(index, LOG_HERE);
  if (!camera) return false;
  const std::string path =
      format("{:s}/ffc/{:s}_{:d}.ffc", camera->dataDirectory(), camera->name(), camera->device.serialNumber);
  const std::uint16_t width = camera->device.width, height = camera->device.height;
  std::uint16_t frames = 0;
  float temperature = 0.0f;
  image<unsigned int> kept(width, height);
  if (!calibration::peekFFC(path, width, height, frames, temperature) ||
      !loadFFC(&kept, frames, temperature, path)) {
    return false;
  }
  FairLock lock(frameMutex);
  const auto& made = camera->processing.manual.sums;
  return made.pixelCount() == kept.pixelCount() &&
         std::equal(kept.data, kept.data + kept.pixelCount(), made.data);
}

nlohmann::ordered_json toJson(const StageFigures& figures, bool radiometric) {
  const auto rounded = [](double value) { return std::round(value * 100.0) / 100.0 + 0.0; };
  return {{radiometric ? "spatialMk" : "spatialLevels", rounded(figures.spatialMk)},
          {radiometric ? "columnMk" : "columnLevels", rounded(figures.columnMk)}};
}

}  // namespace

void calibrateCamera(const Options& wanted, OmbrixSDK& sdk) {
  Options options = wanted;
  std::optional<PrivateData> temporary;
  if (options.madeUpData) options.data = temporary.emplace(options.data).path();
  const auto camera = openCamera(options, sdk);
  const bool radiometric = camera->getShutterlessCorrection();
  if (!hasShutter(options.camera)) {
    std::fprintf(stderr,
                 "ombrix: warning: the %s has no shutter: what it sees now, unless it is something uniform, "
                 "will stay in its pictures\n",
                 sdk.getDeviceName(options.camera).c_str());
  }

  StageFigures before, after;
  {
    const ClosedShutter shutter(*camera);
    Calibration calibration(options, *camera);
    before = calibration.residual();
    calibration.run();
    after = calibration.residual();
  }
  const std::string kept = temporary ? "" : (options.data.empty() ? "data" : options.data) + "/ffc";
  if (!temporary && !tableKept(options.camera)) {
    throw CommandFailure(
        format("camera {}: the table could not be written to '{}': is there room on the disk?",
               options.camera, kept));
  }
  // Without tables the levels are counts: 1000 of the recorder's units are one.
  if (!radiometric) {
    for (auto* figures : {&before, &after}) {
      figures->spatialMk /= 1000.0 * kelvinPerLevel(options.camera);
      figures->columnMk /= 1000.0 * kelvinPerLevel(options.camera);
    }
  }
  if (options.json) {
    nlohmann::ordered_json line = {{"frames", options.frames},
                                   {"before", toJson(before, radiometric)},
                                   {"after", toJson(after, radiometric)},
                                   {"directory", nullptr}};
    if (!temporary) line["directory"] = kept;
    return printLine(line.dump());
  }
  const char* const unit = radiometric ? "mK" : "levels";
  printLine(format("before  spatial {:8.1f} {}  columns {:8.1f} {}", before.spatialMk, unit, before.columnMk,
                   unit));
  printLine(
      format("after   spatial {:8.1f} {}  columns {:8.1f} {}", after.spatialMk, unit, after.columnMk, unit));
  printLine(temporary ? std::string("the table is not kept: name a directory for it with --data")
                      : format("the table is in {}", kept));
}

}  // namespace tools
