// The part of the self-test that talks to the camera: registers and shutter.

#include <algorithm>
#include <array>
#include <cmath>

#include "acquisition/transport/UVCConnection.h"
#include "tools/common/selftestChecks.h"
#include "tools/ombrix/ClosedShutter.h"
#include "tools/ombrix/SelftestRun.h"

namespace tools {
namespace {

constexpr unsigned kReadOuts = 8;
constexpr auto kRegisterPatience = std::chrono::seconds(3);
constexpr unsigned kMeanFrames = 16;  // of a picture
constexpr int kRunFrames = 16;

}  // namespace

void SelftestRun::readRegisters(imageAcquisition& device) {
  if (!device.device.connection) return;
  stepName = "reading registers";
  CameraRegisters& registers = device.device.connection->registers();
  const bool small = device.device.sensor == "Quor320";
  selftest::RegisterRecord record;
  std::vector<double> times;
  const auto deadline = Clock::now() + kRegisterPatience;
  const auto timed = [&](unsigned count, const auto& readOut) {
    const auto start = Clock::now();
    readOut();
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    times.push_back(ms / count);
    record.longestMs = std::max(record.longestMs, ms);
    ++record.asked;
  };
  for (unsigned i = 0; i < kReadOuts && Clock::now() < deadline && !ended(); ++i) {
    timed(small ? 2 : 4, [&] {
      const auto serial = static_cast<std::uint32_t>(registers.readSerialNumber());
      record.silent += serial == 0 ? 1 : 0;
      record.same += serial != 0 && serial == found.serialNumber ? 1 : 0;
    });
  }
  if (Clock::now() < deadline && !ended()) {
    timed(small ? 3 : 8, [&] {
      auto settings = device.device.sensorRegisters;
      const bool read =
          small ? registers.readCurrentAGC(settings) : registers.readSensorConfiguration(settings);
      record.silent += read ? 0 : 1;
      record.same += read && settings == device.device.sensorRegisters ? 1 : 0;
    });
  }
  if (ended()) return;
  record.medianMs = selftest::quantile(times, 0.5);
  found.registers = record;
}

/// The mean of the next frames, and its noise: how much the means of both halves differ.
bool SelftestRun::meanPicture(unsigned frames, std::vector<double>& mean, double& noise) {
  std::vector<double> halves[2];
  for (unsigned half = 0; half < 2; ++half) {
    halves[half].assign(levels.size(), 0.0);
    for (unsigned frame = 0; frame < frames / 2; ++frame) {
      if (!next()) return false;
      for (std::size_t i = 0; i < levels.size(); ++i) halves[half][i] += levels[i];
    }
  }
  mean.resize(levels.size());
  double squares = 0.0, count = 0.0;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    mean[i] = (halves[0][i] + halves[1][i]) / frames;
    if (kinds[i] != PixelKind::Good) continue;
    const double difference = (halves[0][i] - halves[1][i]) / frames;
    squares += difference * difference;
    count += 1.0;
  }
  noise = count > 0.0 ? std::sqrt(squares / count) : 0.0;
  return true;
}

double SelftestRun::spreadOf(const std::vector<double>& picture) const {
  double sum = 0.0, squares = 0.0, count = 0.0;
  for (std::size_t i = 0; i < picture.size(); ++i) {
    if (kinds[i] != PixelKind::Good) continue;
    sum += picture[i];
    squares += picture[i] * picture[i];
    count += 1.0;
  }
  if (!(count > 0.0)) return 0.0;
  return std::sqrt(std::max(squares / count - (sum / count) * (sum / count), 0.0));
}

double SelftestRun::distance(const std::vector<double>& one, const std::vector<double>& other) const {
  double squares = 0.0, count = 0.0;
  for (std::size_t i = 0; i < one.size(); ++i) {
    if (kinds[i] != PixelKind::Good) continue;
    squares += (one[i] - other[i]) * (one[i] - other[i]);
    count += 1.0;
  }
  return count > 0.0 ? std::sqrt(squares / count) : 0.0;
}

void SelftestRun::runShutter() {
  const bool radiometric = camera->getShutterlessCorrection();
  const double unit = radiometric ? 1000.0 * kelvinPerLevel(options.camera) : 1.0;
  selftest::ShutterRecord record;
  record.unit = radiometric ? "mK" : "levels";
  std::vector<double> earlier, open, closed, corrected;
  double noise = 0.0;
  const auto skipSome = [&] {
    for (unsigned i = 0; i < kShutterSettlingFrames; ++i) {
      if (!next()) return false;
    }
    return true;
  };
  stepName = "looking out";
  if (!meanPicture(kMeanFrames, earlier, noise) || !skipSome() ||
      !meanPicture(kMeanFrames, open, record.openNoise)) {
    return;
  }
  stepName = "closing the shutter";
  const ClosedShutter shutter(*camera);
  if (!skipSome() || !meanPicture(kMeanFrames, closed, record.noise)) return;
  stepName = "running the flat field";
  camera->runFFC(true, kRunFrames);
  if (ended()) return;
  record.table = camera->getFFC();
  stepName = "looking at the shutter";
  if (!skipSome() || !meanPicture(kMeanFrames, corrected, noise)) return;

  record.drift = distance(earlier, open);
  record.change = distance(open, closed);
  record.openSpread = spreadOf(open);
  record.before = spreadOf(closed);
  record.after = spreadOf(corrected);
  for (double* value : {&record.drift, &record.change, &record.openSpread, &record.openNoise, &record.noise,
                        &record.before, &record.after}) {
    *value *= unit;
  }
  found.shutter = record;
}

}  // namespace tools
