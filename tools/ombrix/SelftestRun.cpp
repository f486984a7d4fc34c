#include "tools/ombrix/SelftestRun.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "acquisition/transport/UVCConnection.h"
#include "common/filePath.h"
#include "common/format.h"
#include "core/deviceRegistry.h"
#include "core/logger.h"
#include "processing/levels.h"
#include "tools/common/privateData.h"
#include "tools/ombrix/ArrivalWitness.h"

namespace tools {
namespace {

constexpr int kSliceMs = 250;
constexpr auto kFrameTimeout = std::chrono::seconds(2);
constexpr auto kTemperatureTimeout = std::chrono::seconds(1);
constexpr unsigned kFramesToFollow = 3;  // until the picture of the newest frame was corrected for it
constexpr float kNotYetK = 273.15f;      // what a Marlow 3 tells before its first frame
constexpr unsigned kColourFrames = 5;

double secondsBetween(std::chrono::steady_clock::time_point begin,
                      std::chrono::steady_clock::time_point end) {
  return std::chrono::duration<double>(end - begin).count();
}

double msSince(std::chrono::steady_clock::time_point begin) {
  return 1000.0 * secondsBetween(begin, std::chrono::steady_clock::now());
}

/// Levels in a few bits, to tell pictures apart (FNV-1a).
std::uint32_t digestOf(const std::vector<std::uint16_t>& levels) {
  std::uint32_t digest = 2166136261U;
  for (const std::uint16_t level : levels) digest = (digest ^ level) * 16777619U;
  return digest;
}

bool counts(const std::vector<std::uint32_t>& histogram, const std::vector<std::uint16_t>& levels) {
  std::vector<std::uint32_t> own(kLevels);
  for (const std::uint16_t level : levels) ++own[level];
  return own == histogram;
}

}  // namespace

void SelftestRun::cancel(const std::string& why) {
  MutexLock lock(mutex);
  if (cancelled.empty()) cancelled = why;
}

/// True when nothing more can or shall be collected from the camera; the evidence tells why.
bool SelftestRun::ended() {
  if (!found.ended.empty()) return true;
  MutexLock lock(mutex);
  found.ended = cancelled;
  if (found.ended.empty() && watched != nullptr && watched->isLost()) found.ended = "the camera was lost";
  return !found.ended.empty();
}

void SelftestRun::run() {
  try {
    collect();
  } catch (const std::exception& failure) {  // no memory, no temporary directory
    if (!camera) found.openError = failure.what();
    if (found.ended.empty()) found.ended = failure.what();
  }
}

void SelftestRun::collect() {
  const std::string original = options.data.empty() ? "data" : options.data;
  std::error_code ignored;
  const PrivateData temporary(std::filesystem::is_directory(filePath(original), ignored) ? original : "");
  open(temporary.path());
  const registry::DeviceUser device(options.camera, LOG_HERE);
  if (!found.openError.empty() || !device) return;
  watched = &*device;
  collectFrom(*device);
  watched = nullptr;
  stepName = "reading the calibration files";
  CalibrationPlaces places = device->calibrationPlaces();
  places.directory = original;
  const Radiometry& scale = device->processing.radiometry;  // the range never changes
  found.calibration = auditCalibration(places, scale.rangeMinK, scale.rangeSpanK);
}

void SelftestRun::open(const std::string& directory) {
  timeZero = Clock::now();
  camera = std::make_unique<Ombrix>(options.camera, directory);
  found.openSeconds = secondsBetween(timeZero, Clock::now());
  const std::string error = camera->getErrorText();
  if (error != "none") found.openError = error.empty() ? "it could not be opened" : error;
  if (ended()) found.openError = found.ended;
  std::uint64_t width = 0, height = 0;
  camera->getImageSize(width, height);
  found.width = static_cast<std::uint32_t>(width);
  found.height = static_cast<std::uint32_t>(height);
  found.nominalHz = static_cast<double>(camera->getDeviceFrameRate());
  levels.resize(width * height);
  histogram.resize(kLevels);
  metadata.histogramBuffer = histogram.data();
  kinds.assign(levels.size(), PixelKind::Good);
  std::vector<std::pair<int, int>> defects;
  camera->getDefectivePixelsCorrection(defects);
  for (const auto& [x, y] : defects) {
    const auto at = static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x);
    if (x >= 0 && y >= 0 && at < kinds.size()) kinds[at] = PixelKind::Defective;
  }
  if (!kinds.empty() && (width == 320 || width == 640)) kinds.back() = PixelKind::NoPicture;
}

void SelftestRun::collectFrom(imageAcquisition& device) {
  found.name = device.name();
  found.serialNumber = device.device.serialNumber;
  found.hasShutter = hasShutter(options.camera);
  ArrivalWitness witness(device);
  if (settle()) watchFrames();
  if (!ended() && watchColour()) watchTimeouts();
  // A camera without frames may answer all the same.
  const std::string silence = found.silent ? std::exchange(found.ended, "") : "";
  if (!ended()) readRegisters(device);
  if (found.ended.empty()) found.ended = silence;
  if (!ended() && found.hasShutter) runShutter();
  found.damagedSamples = device.device.connection ? device.device.connection->droppedSamples() : 0;
  found.lost = device.isLost();
  witness.stop();
  if (witness.lossTime()) found.lostAfterSeconds = secondsBetween(timeZero, *witness.lossTime());
  for (selftest::FrameRecord& frame : found.frames) {
    const auto arrived = witness.arrivalOf(frame.number);
    if (!arrived) continue;
    const double ms = 1000.0 * (frame.seconds - secondsBetween(timeZero, *arrived));
    if (ms >= 0.0) frame.handOverMs = ms;
  }
}

/// The next thermal frame; false when the run has ended.
bool SelftestRun::next() {
  const auto deadline = Clock::now() + kFrameTimeout;
  while (!ended()) {
    const auto begin = Clock::now();
    if (camera->getRawFrame(reinterpret_cast<std::uint8_t*>(levels.data()), &metadata, kSliceMs)) return true;
    found.waits.push_back({false, kSliceMs, msSince(begin), false});
    if (Clock::now() < deadline || ended()) continue;
    found.silent = true;
    found.ended = format("no frame within {:d} s", kFrameTimeout.count());
  }
  return false;
}

/// Passes over the first frames, which no corrections follow yet.
bool SelftestRun::settle() {
  stepName = "waiting for the first frames";
  const auto deadline = Clock::now() + kTemperatureTimeout;
  const auto waiting = [&] {
    const bool known = metadata.sensorTemperature > 0.0f && metadata.sensorTemperature != kNotYetK;
    return !known && Clock::now() < deadline;
  };
  do {
    if (!next()) return false;
  } while (waiting());
  for (unsigned frame = 0; frame < kFramesToFollow; ++frame) {
    if (!next()) return false;
  }
  return true;
}

void SelftestRun::watchFrames() {
  stepName = "watching frames";
  const auto end = Clock::now() + std::chrono::seconds(options.seconds);
  while (Clock::now() < end) {
    if (!next()) return;
    selftest::FrameRecord frame;
    frame.seconds = secondsBetween(timeZero, Clock::now());
    frame.number = metadata.frameNumber;
    frame.sinceLast = metadata.framesSinceLastCall;
    frame.sensorK = metadata.sensorTemperature;
    frame.serialNumber = metadata.serialNumber;
    const auto [low, high] = std::minmax_element(levels.begin(), levels.end());
    frame.min = *low;
    frame.max = *high;
    frame.digest = digestOf(levels);
    frame.histogramMatches = counts(histogram, levels);
    found.frames.push_back(frame);
  }
  found.framesComplete = true;
}

bool SelftestRun::watchColour() {
  stepName = "watching colour frames";
  found.colourFramesAsked = kColourFrames;
  for (unsigned i = 0; i < kColourFrames && !ended(); ++i) {
    const auto begin = Clock::now();
    const int patience = static_cast<int>(std::chrono::milliseconds(kFrameTimeout).count());
    if (camera->getColorFrame(nullptr, nullptr, patience)) {
      ++found.colourFrames;
    } else {
      found.waits.push_back({true, patience, msSince(begin), false});
      break;
    }
  }
  return !ended();
}

void SelftestRun::watchTimeouts() {
  stepName = "timing calls";
  for (const int asked : {0, 1, 3, 10, 30, 100}) {
    for (const bool colour : {false, true}) {
      const auto begin = Clock::now();
      const bool delivered = colour ? camera->getColorFrame(nullptr, nullptr, asked)
                                    : camera->getRawFrame(nullptr, nullptr, asked);
      found.waits.push_back({colour, asked, msSince(begin), delivered});
    }
  }
}

}  // namespace tools
