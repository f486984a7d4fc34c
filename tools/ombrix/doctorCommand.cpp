#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>

#include "acquisition/transport/cameraCheck.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/format.h"
#include "core/logger.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

using nlohmann::ordered_json;
using transport::CameraCheck;
using transport::Obstacle;

constexpr auto kPatience = std::chrono::seconds(3);

ordered_json toJson(const std::vector<Obstacle>& obstacles) {
  ordered_json list = ordered_json::array();
  for (const Obstacle& obstacle : obstacles)
    list.push_back({{"code", obstacle.code}, {"text", obstacle.text}, {"remedy", obstacle.remedy}});
  return list;
}

ordered_json toJson(const transport::SystemCheck& check) {
  ordered_json cameras = ordered_json::array();
  for (const CameraCheck& camera : check.cameras) {
    cameras.push_back({{"name", camera.name},
                       {"model", camera.model},
                       {"path", camera.path},
                       {"picture", camera.picture},
                       {"obstacles", toJson(camera.obstacles)}});
  }
  return {{"usable", check.usable()}, {"cameras", cameras}, {"obstacles", toJson(check.obstacles)}};
}

void print(const std::vector<Obstacle>& obstacles) {
  for (const Obstacle& obstacle : obstacles) {
    printLine(format("  {}: {}", obstacle.code, obstacle.text));
    if (!obstacle.remedy.empty()) printLine("    remedy: " + obstacle.remedy);
  }
}

void print(const transport::SystemCheck& check) {
  for (std::size_t i = 0; i < check.cameras.size(); ++i) {
    const CameraCheck& camera = check.cameras[i];
    printLine(format("camera {}: {}, {}: {}", i, camera.model, camera.path,
                     camera.picture ? "a picture can be taken" : "no picture"));
    print(camera.obstacles);
  }
  print(check.obstacles);
}

}  // namespace

bool examineSystem(const Options& options) {
  // What the library would log is what this command tells anyway, better.
  if (options.verbosity == 0) logger::setConsoleSink([](std::string_view) {});
  logger::init(static_cast<logger::verbosityLevel>(std::min(options.verbosity, 2)), "", true, true);
  const auto check = transport::checkCameras(*transport::videoPlatform(), kPatience);
  if (options.json) {
    printLine(toJson(check).dump(-1, ' ', false, ordered_json::error_handler_t::replace));
  } else {
    print(check);
  }
  return check.usable();
}

}  // namespace tools
