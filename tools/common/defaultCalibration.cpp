#include "tools/common/defaultCalibration.h"

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "acquisition/backends/simulated/calibrationSet.h"
#include "acquisition/backends/simulated/scenario.h"
#include "common/filePath.h"
#include "common/format.h"
#include "platform/program.h"
#include "tools/common/TemporaryPlace.h"
#include "tools/common/session.h"

namespace tools {
namespace {

namespace fs = std::filesystem;

constexpr int kVersion = 1;  // of what the files hold; a change makes everybody's sets anew
constexpr const char* kUnfinishedPrefix = ".making-";
constexpr auto kAbandonedAge = std::chrono::hours(1);

/// The camera at a place of the device list, which leaves out unplugged ones.
std::optional<simulation::CameraSpec> findCamera(const std::string& text, int index) {
  simulation::Scenario scenario;
  simulation::ScenarioError error;
  if (!simulation::readScenario(text, scenario, error)) return std::nullopt;
  for (const auto& camera : scenario.cameras) {
    if (!camera.faults.empty() && simulation::SimulatedCamera(camera).unplugged()) continue;
    if (index-- == 0) return camera;
  }
  return std::nullopt;
}

/// Names everything that the files depend on.
std::string setName(const simulation::CameraSpec& camera, bool polynomial) {
  return format("{:s}_{:d}_seed{:d}_pattern{}{:s}{:s}_v{:d}", camera.model->id, camera.serialNumber,
                camera.seed, camera.pattern, camera.defects ? "" : "_nodefects",
                polynomial ? "_polynomial" : "", kVersion);
}

/// Removes what makers left behind that were killed.
void removeAbandoned(const fs::path& parent) {
  std::error_code ignored;
  for (fs::directory_iterator entry(parent, ignored), end; !ignored && entry != end;
       entry.increment(ignored)) {
    if (entry->path().filename().string().rfind(kUnfinishedPrefix, 0) != 0) continue;
    std::error_code failure;
    const auto changed = entry->last_write_time(failure);
    if (!failure && fs::file_time_type::clock::now() - changed > kAbandonedAge)
      fs::remove_all(entry->path(), failure);
  }
}

/// Makes the set aside and moves it to its place in one step. Whoever comes second keeps the first one's.
/// An empty result means success, otherwise it is the reason.
std::string makeSet(const simulation::CameraSpec& camera, const simulation::CalibrationSetOptions& options,
                    const fs::path& place) {
  std::error_code failure;
  fs::create_directories(place.parent_path(), failure);
  if (failure) return format("'{:s}': {:s}", pathText(place.parent_path()), failure.message());
  removeAbandoned(place.parent_path());

  const TemporaryPlace fresh(place.parent_path(), kUnfinishedPrefix);
  const TemporaryPlace damaged(place.parent_path(), kUnfinishedPrefix);
  fs::create_directory(fresh.path(), failure);
  if (failure) return format("'{:s}': {:s}", pathText(place.parent_path()), failure.message());
  if (!simulation::writeCalibrationSet(camera, pathText(fresh.path()), options))
    return format("'{:s}': files cannot be written", pathText(place.parent_path()));
  fs::rename(fresh.path(), place, failure);
  if (!failure || simulation::hasCalibrationSet(camera, pathText(place), options)) return {};
  fs::rename(place, damaged.path(), failure);  // files are missing there
  fs::rename(fresh.path(), place, failure);
  if (!failure || simulation::hasCalibrationSet(camera, pathText(place), options)) return {};
  return format("'{:s}': {:s}", pathText(place), failure.message());
}

}  // namespace

std::string defaultCalibrationDirectory(const std::string& simulateText, int cameraIndex, bool polynomial) {
  const auto camera = findCamera(simulateText, cameraIndex);
  if (!camera || camera->scene.isRaw()) return {};
  simulation::CalibrationSetOptions options;
  if (polynomial) options.polynomial = simulation::PolynomialFiles::CubicBinary;
  const fs::path cache = platform::cacheDirectory();
  std::string reason = std::string("no cache directory: ") + platform::kCacheVariables;
  if (!cache.empty()) {
    const fs::path place = cache / "ombrix" / "calibration" / setName(*camera, polynomial);
    expectNoShutterTable(pathText(place));
    if (simulation::hasCalibrationSet(*camera, pathText(place), options)) return pathText(place);
    reason = makeSet(*camera, options, place);
    if (reason.empty()) return pathText(place);
  }
  std::fprintf(stderr, "ombrix: going on without calibration files: %s\n", reason.c_str());
  return {};
}

}  // namespace tools
