#include "acquisition/backends/simulated/scenario.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <utility>

#include "acquisition/backends/simulated/numberText.h"
#include "acquisition/backends/simulated/rawScene.h"
#include "acquisition/backends/simulated/scenarioKeys.h"
#include "common/fileBytes.h"
#include "common/filePath.h"
#include "common/format.h"

namespace simulation {
namespace {

constexpr std::size_t kMostCameras = 16;
constexpr std::uint64_t kLongestScenario = 1 << 20;
constexpr std::uint32_t kFirstSerialNumber = 466001359;

/// "hollis12.scene=ramp": which cameras, which key, which value.
struct Setting {
  std::size_t line = 0;
  std::string target, key, value;
};

std::string trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t\r") - first + 1));
}

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (std::size_t start = 0; start <= text.size();) {
    const auto end = std::min(text.find(separator, start), text.size());
    parts.push_back(trimmed(text.substr(start, end - start)));
    start = end + 1;
  }
  return parts;
}

std::string splitSetting(const std::string& text, Setting& setting) {
  const auto equals = text.find('=');
  if (equals == std::string::npos) return format("'{:s}' is not of the form key=value", text);
  setting.key = trimmed(std::string_view(text).substr(0, equals));
  setting.value = trimmed(std::string_view(text).substr(equals + 1));
  if (const auto dot = setting.key.find('.'); dot != std::string::npos) {
    setting.target = setting.key.substr(0, dot);
    setting.key.erase(0, dot + 1);
  }
  return {};
}

std::string makeCameras(const std::string& list, std::vector<CameraSpec>& cameras) {
  cameras.clear();
  for (const auto& id : split(list, ',')) {
    const auto* model = findCameraModel(id);
    if (model == nullptr) return format("unknown camera model '{:s}'", id);
    if (cameras.size() == kMostCameras) return format("more than {:d} cameras", kMostCameras);
    auto& camera = cameras.emplace_back();
    camera.model = model;
    camera.serialNumber = kFirstSerialNumber + static_cast<std::uint32_t>(cameras.size() - 1);
  }
  return {};
}

/// "", a model or the camera's place in the list, counted from 0.
bool meant(const std::string& target, const CameraSpec& camera, std::size_t index) {
  std::uint64_t number = 0;
  if (parseWhole(target, 0, kMostCameras, number)) return number == index;
  return target.empty() || target == camera.model->id;
}

std::string applySetting(const Setting& setting, const std::string& folder,
                         std::vector<CameraSpec>& cameras) {
  bool found = false;
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    if (!meant(setting.target, cameras[i], i)) continue;
    found = true;
    if (auto reason = applyKey(setting.key, setting.value, folder, cameras[i]); !reason.empty())
      return reason;
  }
  return found ? std::string() : format("no camera '{:s}' in this scenario", setting.target);
}

bool build(const std::vector<Setting>& settings, const std::string& folder, Scenario& scenario,
           ScenarioError& error) {
  Scenario result;
  makeCameras("bramble6", result.cameras);
  const auto fails = [&](const Setting& setting, std::string reason) {
    error.line = setting.line;
    error.reason = std::move(reason);
    return !error.reason.empty();
  };
  for (const auto& setting : settings) {
    if (setting.key == "cameras" && fails(setting, makeCameras(setting.value, result.cameras))) return false;
  }
  for (const auto& setting : settings) {
    if (setting.key != "cameras" && fails(setting, applySetting(setting, folder, result.cameras)))
      return false;
  }
  scenario = std::move(result);
  return true;
}

bool readFile(const std::string& path, Scenario& scenario, ScenarioError& error) {
  const auto size = regularFileSize(path);
  const auto bytes = size && *size <= kLongestScenario ? readFileBytes(path, kLongestScenario) : std::nullopt;
  if (!bytes) {
    error.reason = size && *size > kLongestScenario
                       ? "is too large"
                       : "neither a readable scenario file nor a list of camera models";
    return false;
  }
  return parseScenarioFile(asText(*bytes), pathText(filePath(path).parent_path()), scenario, error);
}

/// A text whose first part lists models, or is a setting.
bool isShortText(const std::string& text) {
  const auto first = split(text, ';').front();
  return first.find('=') != std::string::npos || findCameraModel(split(first, ',').front()) != nullptr;
}

bool readText(const std::string& text, Scenario& scenario, ScenarioError& error) {
  std::vector<Setting> settings;
  const auto parts = split(text, ';');
  for (std::size_t i = 0; i < parts.size(); ++i) {
    error.line = i + 1;
    if (parts[i].empty()) continue;
    if (i == 0 && parts[i].find('=') == std::string::npos) {
      settings.push_back({1, {}, "cameras", parts[i]});
      continue;
    }
    settings.push_back({i + 1, {}, {}, {}});
    if (error.reason = splitSetting(parts[i], settings.back()); !error.reason.empty()) return false;
  }
  return build(settings, {}, scenario, error);
}

}  // namespace

bool parseScenarioFile(std::string_view text, const std::string& folder, Scenario& scenario,
                       ScenarioError& error) {
  std::vector<Setting> settings;
  for (std::size_t number = 1, start = 0; start < text.size(); ++number) {
    const auto end = std::min(text.find('\n', start), text.size());
    const auto line = text.substr(start, end - start);
    start = end + 1;
    const auto content = trimmed(line.substr(0, line.find('#')));
    if (content.empty()) continue;
    error.line = number;
    settings.push_back({number, {}, {}, {}});
    if (error.reason = splitSetting(content, settings.back()); !error.reason.empty()) return false;
  }
  return build(settings, folder, scenario, error);
}

std::vector<Defect> CameraSpec::defectivePixels() const {
  if (scene.isRaw()) return rawDefects(scene, *model);
  return defects ? scatterDefects(*model, detectorSeed()) : std::vector<Defect>();
}

CameraSpec makeCameraSpec(std::string_view modelId) {
  CameraSpec spec;
  const auto* model = findCameraModel(modelId);
  spec.model = model != nullptr ? model : findCameraModel("bramble6");
  return spec;
}

bool readScenario(const std::string& textOrPath, Scenario& scenario, ScenarioError& error) {
  error = {textOrPath, 0, {}};
  std::error_code ignored;
  if (textOrPath.empty()) return readText("bramble6", scenario, error);
  if (!std::filesystem::is_regular_file(filePath(textOrPath), ignored) && isShortText(textOrPath)) {
    return readText(textOrPath, scenario, error);
  }
  return readFile(textOrPath, scenario, error);
}

}  // namespace simulation
