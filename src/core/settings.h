#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>

#include "common/mutex.h"

/// A text that one thread may set while others read it.
class SharedText {
 public:
  SharedText() = default;
  explicit SharedText(std::string initial) : value(std::move(initial)) {}
  std::string get() const {
    MutexLock lock(mutex);
    return value;
  }
  void set(std::string text) {
    MutexLock lock(mutex);
    value = std::move(text);
  }

 private:
  mutable Mutex mutex{LockRank::settingsText};
  std::string value GUARDED_BY(mutex);
};

/// The process-wide configuration record: every field has the default shown and changes only through
/// `parseParam`. Numbers and flags are atomics and texts are copied under a mutex, so parameters may be
/// parsed while frames flow.
class settings {
 public:
  using Flag = std::atomic<bool>;

  settings(const int argc, char** argv);
  settings(const settings&) = delete;
  settings& operator=(const settings&) = delete;

  /// Creates the singleton with the defaults; a second call warns "settings are already initialized". The
  /// arguments are accepted for the command lines to come and not used.
  static void create(const int argc, char** argv);
  /// Forgets the singleton. Its memory stays for readers that still hold it and serves the next `create`.
  static void release();
  /// The singleton; before `create` and after `release` it logs an error and is null.
  static settings* inst();
  /// What the library's own code reads: the singleton or, where there is none, a record of defaults.
  /// Never null, safe against a concurrent `release`, logs nothing.
  static const settings& current();

  /// Applies one "key=value" or flag word; true when a key accepted it.
  bool parseParam(std::string parameter);
  bool extractRaw64bParam(std::string key, std::string parameter, std::uint64_t& value) const;
  bool extractFp32bParam(std::string key, std::string parameter, float& value) const;
  std::string extractStringParam(std::string key, std::string parameter) const;

  std::atomic<std::int32_t> deviceIndex{0};
  std::atomic<std::int32_t> compressionLevel{4};
  Flag ffmpegVerbose{false};
  Flag v4l2LoopbackOn{false};
  SharedText v4l2Loopback{"none"};
  SharedText capture{"none"};
  std::atomic<std::int32_t> bitRate{1024};
  Flag fineRotation{false};
  std::atomic<std::int32_t> windowPosX{-1};
  std::atomic<std::int32_t> windowPosY{-1};
  Flag consoleLog{true};
  SharedText font{"Calibri_24_AA"};
  std::atomic<float> xShadowOffset{0.0035f};
  std::atomic<float> yShadowOffset{0.0035f};
  std::atomic<float> FFCValidationTemperature{25.0f};
  Flag displaySensorTemperature{false};
  Flag autoCalibration{false};
  Flag rawPassthruDemo{false};
  Flag snapshotDemo{false};
  Flag splitDemo{false};
  Flag colorDemo{false};
  Flag displayHistogram{false};
  Flag displayTarget{false};
  Flag displayColorBar{false};
  Flag displayImageSize{false};
  Flag testPattern{false};
  Flag headless{false};
  Flag profiling{false};
  Flag verbose{false};
  Flag USBVerbose{false};
  Flag USBDebug{false};
  Flag UVCVerbose{false};
  Flag UVCDebug{false};
  Flag execVerbose{false};
  Flag fullscreen{false};
  Flag colorPresetMode{true};  ///< cleared by "disableColorPresetMode"; no key sets it again
  Flag bypassSensorSetup{false};
  Flag cookedSnapshot{false};
  Flag colorSnapshot{false};
  Flag cookedTiffSnapshot{false};
  Flag thermalTiffSnapshot{false};
  Flag digitalZoom{false};
  Flag unlockFrameRate{false};
  Flag disableTextureSync{false};
  Flag FFCValidation{false};
  Flag displayFFCData{false};
  Flag displayMinMax{false};
  Flag printMinMaxPos{false};
  Flag printAcqRawMinMax{false};
  Flag disableComposite{false};
  Flag displayFrameRate{false};
  Flag jpgFrameDump{false};
  Flag tiffFrameDump{false};
  Flag tiffFrameReplay{false};
  SharedText deviceName;
  SharedText networkInterface;
  SharedText spareText;  ///< no key sets it
  std::atomic<std::int64_t> sensorSerial{0};
  std::atomic<std::int32_t> processingUnits{0};
  Flag displaySensorSerial{false};
  SharedText proxy;
  Flag MarlowV4L2{false};
  Flag BrambleV4L2{false};
  Flag HollisV4L2{false};
  Flag BosonV4L2{false};
  Flag BosonDemo{false};
  Flag reattachKernelDriver{false};
  Flag TINTQuirk{false};

  // How often the words were parsed: each time asks for something anew, which the flags alone do not tell.
  using Count = std::atomic<std::uint32_t>;
  Count cookedSnapshotCount{0};
  Count colorSnapshotCount{0};
  Count cookedTiffSnapshotCount{0};
  Count thermalTiffSnapshotCount{0};
  Count tiffFrameDumpCount{0};

 private:
  settings() = default;
  static const settings& defaults();
  /// Takes over every value of another record.
  void assign(const settings& other);
};
