#include "core/settings.h"

#include <array>
#include <optional>
#include <string_view>
#include <type_traits>
#include <variant>

#include "common/format.h"
#include "common/numberText.h"
#include "core/logger.h"

namespace {

using Int32 = std::atomic<std::int32_t>;
using Int64 = std::atomic<std::int64_t>;
using Float = std::atomic<float>;
using Flag = settings::Flag;

using Field = std::variant<Int32 settings::*, Int64 settings::*, Float settings::*, SharedText settings::*,
                           Flag settings::*>;

/// A key and the field it writes: "key=value" for numbers and texts, the bare word for flags.
struct Key {
  std::string_view word;
  Field field;
  bool flagValue = true;                        ///< what a flag word writes
  Flag settings::*alsoSets = nullptr;           ///< set when the key accepts a value
  settings::Count settings::*counts = nullptr;  ///< counts how often the key was accepted
};

/// Every key, in the order in which they are tried.
constexpr Key kKeys[] = {
    {"deviceIndex", &settings::deviceIndex},
    {"compressionLevel", &settings::compressionLevel},
    {"ffmpegVerbose", &settings::ffmpegVerbose},
    {"v4l2Loopback", &settings::v4l2Loopback, true, &settings::v4l2LoopbackOn},
    {"capture", &settings::capture},
    {"bitRate", &settings::bitRate},
    {"fineRotation", &settings::fineRotation},
    {"windowPosX", &settings::windowPosX},
    {"windowPosY", &settings::windowPosY},
    {"disableConsoleLog", &settings::consoleLog, false},
    {"font", &settings::font},
    {"xShadowOffset", &settings::xShadowOffset},
    {"yShadowOffset", &settings::yShadowOffset},
    {"FFCValidationTemperature", &settings::FFCValidationTemperature},
    {"displaySensorTemperature", &settings::displaySensorTemperature},
    {"autoCalibration", &settings::autoCalibration},
    {"rawPassthruDemo", &settings::rawPassthruDemo},
    {"snapshotDemo", &settings::snapshotDemo},
    {"splitDemo", &settings::splitDemo},
    {"colorDemo", &settings::colorDemo},
    {"displayHistogram", &settings::displayHistogram},
    {"displayTarget", &settings::displayTarget},
    {"displayColorBar", &settings::displayColorBar},
    {"displayImageSize", &settings::displayImageSize},
    {"testPattern", &settings::testPattern},
    {"headless", &settings::headless},
    {"profiling", &settings::profiling},
    {"verbose", &settings::verbose},
    {"USBVerbose", &settings::USBVerbose},
    {"USBDebug", &settings::USBDebug},
    {"UVCVerbose", &settings::UVCVerbose},
    {"UVCDebug", &settings::UVCDebug},
    {"execVerbose", &settings::execVerbose},
    {"fullscreen", &settings::fullscreen},
    {"disableColorPresetMode", &settings::colorPresetMode, false},
    {"bypassSensorSetup", &settings::bypassSensorSetup},
    {"cookedSnapshot", &settings::cookedSnapshot, true, nullptr, &settings::cookedSnapshotCount},
    {"colorSnapshot", &settings::colorSnapshot, true, nullptr, &settings::colorSnapshotCount},
    {"cookedTiffSnapshot", &settings::cookedTiffSnapshot, true, nullptr, &settings::cookedTiffSnapshotCount},
    {"thermalTiffSnapshot", &settings::thermalTiffSnapshot, true, nullptr,
     &settings::thermalTiffSnapshotCount},
    {"digitalZoom", &settings::digitalZoom},
    {"unlockFrameRate", &settings::unlockFrameRate},
    {"disableTextureSync", &settings::disableTextureSync},
    {"FFCValidation", &settings::FFCValidation},
    {"displayFFCData", &settings::displayFFCData},
    {"displayMinMax", &settings::displayMinMax},
    {"printMinMaxPos", &settings::printMinMaxPos},
    {"printAcqRawMinMax", &settings::printAcqRawMinMax},
    {"disableComposite", &settings::disableComposite},
    {"displayFrameRate", &settings::displayFrameRate},
    {"jpgFrameDump", &settings::jpgFrameDump},
    {"tiffFrameDump", &settings::tiffFrameDump, true, nullptr, &settings::tiffFrameDumpCount},
    {"tiffFrameReplay", &settings::tiffFrameReplay},
    {"deviceName", &settings::deviceName},
    {"networkInterface", &settings::networkInterface},
    {"sensorSerial", &settings::sensorSerial},
    {"processingUnits", &settings::processingUnits},
    {"displaySensorSerial", &settings::displaySensorSerial},
    {"proxy", &settings::proxy},
    {"MarlowV4L2", &settings::MarlowV4L2},
    {"BrambleV4L2", &settings::BrambleV4L2},
    {"HollisV4L2", &settings::HollisV4L2},
    {"BosonV4L2", &settings::BosonV4L2},
    {"BosonDemo", &settings::BosonDemo},
    {"reattachKernelDriver", &settings::reattachKernelDriver},
    {"TINTQuirk", &settings::TINTQuirk},
};

/// The text behind "key=", when `parameter` is that and a value of at least one character.
std::optional<std::string_view> valueOf(std::string_view key, std::string_view parameter) {
  if (!parameter.starts_with(key)) return std::nullopt;
  parameter.remove_prefix(key.size());
  if (parameter.size() < 2 || parameter.front() != '=') return std::nullopt;
  return parameter.substr(1);
}

/// Writes the field of one key when `parameter` is meant for it; one overload for each kind of field.
struct KeyWriter {
  settings& record;
  const Key& key;
  const std::string& parameter;

  template <typename Integer>
  bool operator()(std::atomic<Integer> settings::*field) const {
    std::uint64_t value = 0;
    if (!record.extractRaw64bParam(std::string(key.word), parameter, value)) return false;
    record.*field = static_cast<Integer>(value);  // 32-bit fields keep the low half: -5 arrives as 4294967291
    return true;
  }
  bool operator()(Float settings::*field) const {
    float value = 0.0f;
    if (!record.extractFp32bParam(std::string(key.word), parameter, value)) return false;
    record.*field = value;
    return true;
  }
  bool operator()(SharedText settings::*field) const {
    std::string value = record.extractStringParam(std::string(key.word), parameter);
    if (value.empty()) return false;
    (record.*field).set(std::move(value));
    return true;
  }
  bool operator()(Flag settings::*field) const {
    if (parameter != key.word) return false;
    record.*field = key.flagValue;
    return true;
  }
};

/// The storage behind `inst`: made by the first `create` and never freed, since a reader may hold it.
struct Singleton {
  Mutex mutex{LockRank::settings};
  settings* storage GUARDED_BY(mutex) = nullptr;
  std::atomic<settings*> active{nullptr};
};

Singleton& singleton() {
  static Singleton* const state = new Singleton;
  return *state;
}

}  // namespace

settings::settings(const int, char**) { logger::debug("settings", LOG_HERE); }

const settings& settings::defaults() {
  static const settings* const record = new settings;
  return *record;
}

void settings::assign(const settings& other) {
  const auto copyValue = [&](auto field) {
    if constexpr (std::is_same_v<decltype(field), SharedText settings::*>) {
      (this->*field).set((other.*field).get());
    } else {
      this->*field = (other.*field).load();
    }
  };
  for (const Key& key : kKeys) {
    std::visit(copyValue, key.field);
    if (key.alsoSets) copyValue(key.alsoSets);
    if (key.counts) copyValue(key.counts);
  }
  copyValue(&settings::spareText);
}

void settings::create(const int argc, char** argv) {
  logger::debug("", LOG_HERE);
  Singleton& state = singleton();
  MutexLock lock(state.mutex);
  if (state.active.load()) {
    logger::warning("settings are already initialized", LOG_HERE);
    return;
  }
  if (state.storage) {
    state.storage->assign(settings(argc, argv));
  } else {
    state.storage = new settings(argc, argv);
  }
  state.active = state.storage;
}

void settings::release() {
  logger::debug("", LOG_HERE);
  Singleton& state = singleton();
  MutexLock lock(state.mutex);
  state.active = nullptr;
}

settings* settings::inst() {
  settings* const active = singleton().active.load();
  if (!active) logger::error("settings::inst() used before initialization", LOG_HERE);
  return active;
}

const settings& settings::current() {
  const settings* const active = singleton().active.load(std::memory_order_acquire);
  return active ? *active : defaults();
}

bool settings::parseParam(std::string parameter) {
  logger::debug("settings", LOG_HERE);
  for (const Key& key : kKeys) {
    if (!std::visit(KeyWriter{*this, key, parameter}, key.field)) continue;
    if (key.alsoSets) this->*key.alsoSets = true;
    if (key.counts) ++(this->*key.counts);
    return true;
  }
  return false;
}

bool settings::extractRaw64bParam(std::string key, std::string parameter, std::uint64_t& value) const {
  const auto text = valueOf(key, parameter);
  if (!text) return false;
  const auto number = readUnsigned32(*text);
  if (!number) {
    logger::warning(format("can't convert attribute {:s} to integer", key), LOG_HERE);
    return false;
  }
  value = *number;
  return true;
}

bool settings::extractFp32bParam(std::string key, std::string parameter, float& value) const {
  const auto text = valueOf(key, parameter);
  if (!text) return false;
  const auto number = readFloat(*text);
  if (!number) {
    logger::warning(format("can't convert attribute {:s} to float", key), LOG_HERE);
    return false;
  }
  value = *number;
  return true;
}

std::string settings::extractStringParam(std::string key, std::string parameter) const {
  return std::string(valueOf(key, parameter).value_or(std::string_view()));
}
