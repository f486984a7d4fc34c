#include "acquisition/backends/simulated/scenarioKeys.h"

#include <filesystem>
#include <span>
#include <string_view>

#include "acquisition/backends/simulated/numberText.h"
#include "common/filePath.h"
#include "common/format.h"

namespace simulation {
namespace {

using Setter = std::string (*)(const std::string& value, const std::string& folder, CameraSpec& camera);

std::string realInto(const std::string& value, double low, double high, double& number) {
  if (parseReal(value, low, high, number)) return {};
  return format("'{:s}' is no number within {:g}..{:g}", value, low, high);
}

std::string wholeInto(const std::string& value, std::uint64_t low, std::uint64_t high,
                      std::uint64_t& number) {
  if (parseWhole(value, low, high, number)) return {};
  return format("'{:s}' is no whole number within {:d}..{:d}", value, low, high);
}

std::string wholeInto(const std::string& value, std::uint32_t low, std::uint32_t high,
                      std::uint32_t& number) {
  std::uint64_t wide = number;
  auto reason = wholeInto(value, std::uint64_t{low}, std::uint64_t{high}, wide);
  number = static_cast<std::uint32_t>(wide);
  return reason;
}

template <typename Enum>
struct Word {
  std::string_view text;
  Enum value;
};

template <typename Enum, std::size_t count>
std::string wordInto(const std::string& value, const Word<Enum> (&words)[count], Enum& result) {
  std::string known;
  for (const auto& word : words) {
    if (word.text == value) {
      result = word.value;
      return {};
    }
    known += (known.empty() ? "" : ", ") + std::string(word.text);
  }
  return format("'{:s}' is none of {:s}", value, known);
}

constexpr Word<bool> kSwitch[] = {{"on", true}, {"off", false}};
constexpr Word<FlashVariant> kFlash[] = {{"normal", FlashVariant::Normal},
                                         {"erased", FlashVariant::Erased},
                                         {"unterminated", FlashVariant::Unterminated}};
constexpr Word<TypeVariant> kTypes[] = {
    {"normal", TypeVariant::Normal},         {"none", TypeVariant::None},
    {"foreign", TypeVariant::Foreign},       {"mixed", TypeVariant::Mixed},
    {"duplicates", TypeVariant::Duplicates}, {"640x512", TypeVariant::Size640x512},
    {"1296", TypeVariant::Width1296},        {"1280", TypeVariant::Width1280},
    {"648x480", TypeVariant::Size648x480}};
constexpr Word<SceneKind> kScenes[] = {{"uniform", SceneKind::Uniform},
                                       {"room", SceneKind::Room},
                                       {"ramp", SceneKind::Ramp},
                                       {"coded", SceneKind::Coded},
                                       {"file:PATH", SceneKind::File}};
constexpr Word<FileValues> kValues[] = {{"counts", FileValues::Counts},
                                        {"kelvin", FileValues::Kelvin},
                                        {"raw", FileValues::Raw},
                                        {"fit", FileValues::Fit}};

/// A path in a scenario file may be meant from where the file lies.
std::string resolved(const std::string& path, const std::string& folder) {
  std::error_code ignored;
  const auto beside = filePath(folder) / filePath(path);
  return std::filesystem::exists(beside, ignored) ? pathText(beside) : path;
}

std::string setScene(const std::string& value, const std::string& folder, CameraSpec& camera) {
  constexpr std::string_view kFile = "file:";
  if (value.compare(0, kFile.size(), kFile) != 0) return wordInto(value, kScenes, camera.scene.kind);
  auto reason = loadPictures(resolved(value.substr(kFile.size()), folder), camera.scene.pictures);
  if (reason.empty()) camera.scene.kind = SceneKind::File;
  return reason;
}

std::string setShutter(const std::string& value, const std::string& folder, CameraSpec& camera) {
  return loadPictures(resolved(value, folder), camera.scene.shutter);
}

/// "10..35": degrees Celsius of the darkest and the brightest part of the pictures.
std::string setFit(const std::string& value, const std::string&, CameraSpec& camera) {
  const auto dots = value.find("..");
  double low = 0.0, high = 0.0;
  if (dots == std::string::npos || !parseReal(std::string_view(value).substr(0, dots), -100.0, 1000.0, low) ||
      !parseReal(std::string_view(value).substr(dots + 2), -100.0, 1000.0, high)) {
    return format("'{:s}' is not of the form LOW..HIGH within -100..1000", value);
  }
  camera.scene.fitLowCelsius = low;
  camera.scene.fitHighCelsius = high;
  camera.scene.values = FileValues::Fit;
  return {};
}

std::string addFault(const std::string& value, const std::string&, CameraSpec& camera) {
  return parseFault(value, camera.faults.emplace_back());
}

std::string setSerial(const std::string& value, const std::string&, CameraSpec& camera) {
  std::uint64_t number = 0;
  auto reason = wholeInto(value, std::uint64_t{1}, std::uint64_t{4294967295}, number);
  // The registers hold the fourth and fifth digit from the right in five bits.
  if (reason.empty() && number / 1000 % 100 > 31)
    reason = format("the serial number '{:s}' cannot be stored", value);
  if (reason.empty()) camera.serialNumber = static_cast<std::uint32_t>(number);
  return reason;
}

struct KeyRow {
  std::string_view key;
  Setter set;
};

constexpr KeyRow kKeys[] = {
    {"seed", [](auto& v, auto&, auto& c) { return wholeInto(v, std::uint64_t{0}, UINT64_MAX, c.seed); }},
    {"serial", setSerial},
    {"scene", setScene},
    {"temperature", [](auto& v, auto&, auto& c) { return realInto(v, -100.0, 1000.0, c.scene.celsius); }},
    {"values", [](auto& v, auto&, auto& c) { return wordInto(v, kValues, c.scene.values); }},
    {"scale", [](auto& v, auto&, auto& c) { return realInto(v, -1e6, 1e6, c.scene.scale); }},
    {"offset", [](auto& v, auto&, auto& c) { return realInto(v, -1e6, 1e6, c.scene.offset); }},
    {"fit", setFit},
    {"shutter", setShutter},
    {"hold", [](auto& v, auto&, auto& c) { return wholeInto(v, 1u, 100000u, c.scene.holdFrames); }},
    {"pattern", [](auto& v, auto&, auto& c) { return realInto(v, 0.0, 10.0, c.pattern); }},
    {"defects", [](auto& v, auto&, auto& c) { return wordInto(v, kSwitch, c.defects); }},
    {"fpa", [](auto& v, auto&, auto& c) { return realInto(v, -60.0, 120.0, c.detectorCelsius.emplace()); }},
    {"housing", [](auto& v, auto&, auto& c) { return realInto(v, -50.0, 50.0, c.housingExcessK.emplace()); }},
    {"start", [](auto& v, auto&, auto& c) { return realInto(v, 0.0, 1e7, c.startSeconds); }},
    {"rate", [](auto& v, auto&, auto& c) { return realInto(v, 1.0, 500.0, c.rateHz); }},
    {"jitter", [](auto& v, auto&, auto& c) { return realInto(v, 0.0, 1000.0, c.jitterMs); }},
    {"step", [](auto& v, auto&, auto& c) { return wordInto(v, kSwitch, c.singleStep); }},
    {"buffers", [](auto& v, auto&, auto& c) { return wholeInto(v, 1u, 64u, c.buffers); }},
    {"flash", [](auto& v, auto&, auto& c) { return wordInto(v, kFlash, c.flash); }},
    {"types", [](auto& v, auto&, auto& c) { return wordInto(v, kTypes, c.types); }},
    {"fault", addFault},
};

}  // namespace

std::string applyKey(const std::string& key, const std::string& value, const std::string& folder,
                     CameraSpec& camera) {
  for (const auto& row : kKeys) {
    if (row.key == key) return row.set(value, folder, camera);
  }
  return format("unknown key '{:s}'", key);
}

}  // namespace simulation
