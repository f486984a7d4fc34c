#include "acquisition/backends/simulated/SimulatedCamera.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>

#include "acquisition/backends/simulated/radiance.h"
#include "acquisition/backends/simulated/randomSource.h"

namespace simulation {
namespace {

constexpr std::uint32_t kY16 = 0x20363159;     // "Y16 "
constexpr std::uint32_t kYuy2 = 0x32595559;    // "YUY2"
constexpr std::uint32_t kNv12 = 0x3231564E;    // "NV12"
constexpr std::uint32_t kReferenceMargin = 4;  // columns beside the picture: two of reference, two of junk
constexpr std::size_t kOversize = 4096;
constexpr std::uint8_t kJunk[2] = {0xA5, 0x5A};

// Warm-up of detector and housing.
constexpr double kStartCelsius = 25.0, kDetectorRiseK = 8.0, kDetectorSeconds = 600.0;
constexpr double kHousingRiseK = 4.0, kHousingSeconds = 1200.0;
constexpr double kShutterGradientK = 0.05;  // from the left to the right edge

std::int64_t steadyNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::uint64_t detectorSeed(const CameraSpec& spec) { return mixBits(spec.seed, spec.serialNumber); }

Flash makeFlash(const CameraSpec& spec) {
  std::vector<std::uint8_t> map(307200, 0);
  if (spec.defects) {
    for (const auto& defect : scatterDefects(*spec.model, detectorSeed(spec))) {
      if (defect.pixel < map.size()) map[defect.pixel] = 1;
    }
  }
  return {*spec.model, spec.serialNumber, spec.flash, std::move(map)};
}

void putPixel(std::span<std::uint8_t> row, std::uint32_t x, std::uint16_t count, std::uint8_t noiseBits) {
  row[2 * std::size_t{x}] = static_cast<std::uint8_t>(count >> 6);
  row[2 * std::size_t{x} + 1] = static_cast<std::uint8_t>((count & 63) << 2 | noiseBits);
}

}  // namespace

SimulatedCamera::SimulatedCamera(const CameraSpec& cameraSpec)
    : spec(cameraSpec),
      sceneSpec(spec.scene),
      fixedDetectorCelsius(spec.detectorCelsius),
      fixedHousingExcessK(spec.housingExcessK),
      seconds(spec.startSeconds),
      registers(*spec.model, spec.serialNumber, makeFlash(spec)),
      layout{spec.model->streamWidth, spec.model->height} {
  faults.jitterMs = spec.jitterMs;
  for (const auto& fault : spec.faults) {
    if (fault.atFrame || fault.atSeconds) {
      scripted.push_back(fault);
    } else {
      applyLocked(fault);
    }
  }
}

// --- The stream

std::vector<transport::StreamType> SimulatedCamera::streamTypes() const {
  const std::uint32_t width = spec.model->streamWidth, height = spec.model->height;
  const transport::StreamType normal{kY16, width, height};
  switch (spec.types) {
    case TypeVariant::Normal:
      break;
    case TypeVariant::None:
      return {};
    case TypeVariant::Foreign:
      return {{kYuy2, width, height}, {kNv12, width, height}};
    case TypeVariant::Mixed:
      return {{kYuy2, width, height}, normal, {kNv12, width, height}};
    case TypeVariant::Duplicates:
      return {normal, normal};
    case TypeVariant::Size640x512:
      return {{kY16, 640, 512}};
    case TypeVariant::Width1296:
      return {{kY16, 1296, height}};
    case TypeVariant::Width1280:
      return {{kY16, 1280, height}};
    case TypeVariant::Size648x480:
      return {{kY16, 648, 480}};
  }
  return {normal};
}

std::int32_t SimulatedCamera::selectType(std::size_t index, transport::StreamType& actual) {
  const auto types = streamTypes();
  MutexLock lock(controlMutex);
  if (unpluggedLocked()) return transport::kStatusDeviceLost;
  if (index >= types.size() || FaultState::take(faults.refuseType)) return -EINVAL;
  actual = types[index];
  layout = {actual.width, actual.height};
  return 0;
}

SimulatedCamera::Layout SimulatedCamera::currentLayout() const {
  MutexLock lock(controlMutex);
  return layout;
}

std::size_t SimulatedCamera::sampleBytes() const {
  const auto current = currentLayout();
  return std::size_t{current.width} * current.height * 2;
}

std::size_t SimulatedCamera::largestSampleBytes() const { return sampleBytes() + kOversize; }

std::int32_t SimulatedCamera::admitStart() {
  MutexLock lock(controlMutex);
  if (unpluggedLocked()) return transport::kStatusDeviceLost;
  return FaultState::take(faults.refuseStart) ? -EBUSY : 0;
}

std::int32_t SimulatedCamera::admitRearm() {
  MutexLock lock(controlMutex);
  if (unpluggedLocked()) return transport::kStatusDeviceLost;
  return FaultState::take(faults.failRearm) ? -EIO : 0;
}

double SimulatedCamera::rate() const {
  if (faults.rateHz > 0.0) return faults.rateHz;
  return spec.rateHz > 0.0 ? spec.rateHz : spec.model->rateHz;
}

double SimulatedCamera::periodSeconds() const {
  MutexLock lock(controlMutex);
  return 1.0 / rate();
}

double SimulatedCamera::jitterSeconds(std::uint64_t frame) const {
  MutexLock lock(controlMutex);
  if (faults.jitterMs <= 0.0) return 0.0;
  return RandomSource(mixBits(spec.seed, frame)).uniform() * 2e-3 * faults.jitterMs - 1e-3 * faults.jitterMs;
}

double SimulatedCamera::slowStopSeconds() const {
  MutexLock lock(controlMutex);
  return 1e-3 * faults.slowStopMs;
}

std::uint64_t SimulatedCamera::framesPassed() const {
  MutexLock lock(frameMutex);
  return nextFrame;
}

DetectorConditions SimulatedCamera::conditions() const {
  DetectorConditions result;
  result.frame = shownFrame;
  result.seconds = seconds;
  const double warm = kStartCelsius + kDetectorRiseK * (1.0 - std::exp(-seconds / kDetectorSeconds));
  result.detectorCelsius = fixedDetectorCelsius.value_or(warm) + rampedK;
  const double excess = kHousingRiseK * (1.0 - std::exp(-seconds / kHousingSeconds));
  result.housingExcessK = fixedHousingExcessK.value_or(excess);
  return result;
}

void SimulatedCamera::prepare() {
  MutexLock lock(frameMutex);
  prepareLocked();
}

void SimulatedCamera::prepareLocked() {
  if (!scene) scene = makeScene(sceneSpec, *spec.model);
  if (detector) return;
  detector = std::make_unique<Detector>(*spec.model,
                                        DetectorOptions{detectorSeed(spec), spec.pattern, spec.defects});
  scratchRow.resize(2 * std::size_t{spec.model->width});
  shutterRow.resize(spec.model->width);
}

/// Strikes the faults that are due, moves the clock and the detector on. False when the camera is unplugged.
bool SimulatedCamera::beginFrame() {
  double period = 0.0, ramp = 0.0;
  {
    MutexLock lock(controlMutex);
    strikeDueFaults(nextFrame, seconds - spec.startSeconds);
    if (unpluggedLocked()) return false;
    period = 1.0 / rate();
    ramp = faults.rampKelvinPerSecond;
  }
  prepareLocked();
  shownFrame = nextFrame++;
  const auto present = conditions();
  detector->advance(present);
  shownCelsius = present.detectorCelsius;
  shownHousingK = present.detectorCelsius + present.housingExcessK + 273.15;
  seconds += period;
  rampedK += ramp * period;
  return true;
}

void SimulatedCamera::skip() {
  MutexLock lock(frameMutex);
  beginFrame();
}

ProducedSample SimulatedCamera::produce(std::span<std::uint8_t> buffer) {
  MutexLock lock(frameMutex);
  ProducedSample sample;
  FaultState taken;
  Layout current;
  {
    MutexLock control(controlMutex);
    // Decided before the clock moves, so that a repeated sample shows the frame before.
    strikeDueFaults(nextFrame, seconds - spec.startSeconds);
    current = layout;
    taken.stalled = faults.stalled;
    if (!faults.stalled) {
      taken.failedSamples = FaultState::take(faults.failedSamples);
      taken.missingSamples = !taken.failedSamples && FaultState::take(faults.missingSamples);
      taken.duplicateSamples = nextFrame > 0 && FaultState::take(faults.duplicateSamples);
      taken.emptySamples = FaultState::take(faults.emptySamples);
      taken.shortSamples = FaultState::take(faults.shortSamples);
      taken.oversizeSamples = FaultState::take(faults.oversizeSamples);
    }
  }
  const std::size_t whole = std::size_t{current.width} * current.height * 2;
  if (buffer.size() < whole + kOversize) return {Outcome::Failure, 0, false, nextFrame};
  prepareLocked();
  const auto before = shownFrame;
  if (taken.duplicateSamples != 0) render(buffer, current);
  if (!beginFrame()) return {Outcome::Lost, 0, false, nextFrame};
  sample.frame = taken.duplicateSamples != 0 ? before : shownFrame;
  if (taken.stalled) return sample;
  if (taken.failedSamples != 0 || taken.missingSamples != 0) {
    sample.outcome = taken.failedSamples != 0 ? Outcome::Failure : Outcome::Missing;
    return sample;
  }
  if (taken.duplicateSamples == 0) render(buffer, current);
  sample.outcome = Outcome::Sample;
  sample.sizeBytes = whole;
  if (taken.oversizeSamples != 0) {
    std::fill_n(buffer.begin() + static_cast<std::ptrdiff_t>(whole), kOversize, kJunk[0]);
    sample.sizeBytes = whole + kOversize;
  }
  if (taken.shortSamples != 0) sample.sizeBytes = whole / 2;
  if (taken.emptySamples != 0) sample.sizeBytes = 0;
  sample.whole = sample.sizeBytes >= whole;
  return sample;
}

RadianceView SimulatedCamera::look() {
  if (shutterClosed()) {
    for (std::size_t x = 0; x < shutterRow.size(); ++x) {
      const double part = static_cast<double>(x) / static_cast<double>(shutterRow.size() - 1);
      shutterRow[x] = static_cast<float>(radianceOf(shownHousingK + kShutterGradientK * part));
    }
    return {shutterRow.data(), 0};
  }
  return scene->at(shownFrame);
}

void SimulatedCamera::render(std::span<std::uint8_t> buffer, const Layout& current) {
  const std::size_t rowBytes = 2 * std::size_t{current.width};
  if (sceneSpec.kind == SceneKind::Coded && !shutterClosed()) {
    renderCoded(buffer, current);
  } else {
    const auto radiance = look();
    const bool references = spec.model->temperature == TemperatureFormat::ReferenceColumns;
    const std::uint32_t left = references ? kReferenceMargin : 0;
    const std::size_t room = rowBytes > 2 * left ? rowBytes - 2 * left : 0;
    for (std::uint32_t y = 0; y < current.height; ++y) {
      const auto row = buffer.subspan(y * rowBytes, rowBytes);
      if (y >= spec.model->height || room < scratchRow.size()) {
        std::fill(row.begin(), row.end(), kJunk[0]);
      } else if (room > scratchRow.size()) {
        std::fill(row.begin() + 2 * left, row.end(), kJunk[0]);
      }
      if (y >= spec.model->height) continue;
      if (room >= scratchRow.size()) {
        detector->readRow(y, radiance, row.subspan(2 * left, scratchRow.size()));
      } else {
        detector->readRow(y, radiance, scratchRow);
        std::copy_n(scratchRow.begin(), room, row.begin() + 2 * left);
      }
    }
  }
  writeTemperature(buffer, current);
}

void SimulatedCamera::renderCoded(std::span<std::uint8_t> buffer, const Layout& current) {
  const bool references = spec.model->temperature == TemperatureFormat::ReferenceColumns;
  const std::uint32_t left = references ? kReferenceMargin : 0;
  for (std::uint32_t y = 0; y < current.height; ++y) {
    const auto row = buffer.subspan(2 * std::size_t{current.width} * y, 2 * std::size_t{current.width});
    for (std::uint32_t x = 0; x < left; ++x) putPixel(row, x, 0, 0);
    for (std::uint32_t x = left; x < current.width; ++x) {
      // Two arbitrary low bits: a reader must drop them.
      putPixel(row, x, codedCount(x - left, y, shownFrame), static_cast<std::uint8_t>((x + y) & 3));
    }
  }
}

void SimulatedCamera::writeTemperature(std::span<std::uint8_t> buffer, const Layout& current) {
  const auto word = temperatureWord(spec.model->temperature, shownCelsius);
  const std::size_t rowBytes = 2 * std::size_t{current.width};
  if (spec.model->temperature != TemperatureFormat::ReferenceColumns) {
    const std::size_t last = rowBytes * current.height - 2;
    buffer[last] = static_cast<std::uint8_t>(word & 0xFF);
    buffer[last + 1] = static_cast<std::uint8_t>(word >> 8);
    return;
  }
  if (current.width < 2 * kReferenceMargin) return;
  for (std::uint32_t y = 0; y < current.height; ++y) {
    const auto row = buffer.subspan(y * rowBytes, rowBytes);
    for (const std::uint32_t x : {0u, 1u, current.width - 2, current.width - 1}) putPixel(row, x, word, 0);
    for (const std::uint32_t x : {2u, 3u, current.width - 4, current.width - 3}) {
      row[2 * std::size_t{x}] = kJunk[0];
      row[2 * std::size_t{x} + 1] = kJunk[1];
    }
  }
}

// --- Switches

void SimulatedCamera::setScene(const SceneSpec& wanted) {
  MutexLock lock(frameMutex);
  sceneSpec = wanted;
  scene.reset();
}

void SimulatedCamera::setDetectorCelsius(std::optional<double> celsius) {
  MutexLock lock(frameMutex);
  fixedDetectorCelsius = celsius;
}

void SimulatedCamera::setHousingExcessK(std::optional<double> kelvin) {
  MutexLock lock(frameMutex);
  fixedHousingExcessK = kelvin;
}

void SimulatedCamera::advanceTime(double elapsed) {
  MutexLock lock(frameMutex);
  seconds += std::max(0.0, elapsed);
}

void SimulatedCamera::moveShutter(bool close) {
  MutexLock lock(controlMutex);
  registers.moveShutter(close);
}

bool SimulatedCamera::shutterClosed() const {
  MutexLock lock(controlMutex);
  return registers.shutterClosed();
}

std::uint16_t SimulatedCamera::registerValue(std::uint16_t group, std::uint16_t address) const {
  MutexLock lock(controlMutex);
  return registers.value(group, address);
}

std::vector<Defect> SimulatedCamera::defects() const {
  return spec.defects ? scatterDefects(*spec.model, detectorSeed(spec)) : std::vector<Defect>();
}

void SimulatedCamera::apply(const Fault& fault) {
  MutexLock lock(controlMutex);
  if (fault.atFrame || fault.atSeconds) {
    scripted.push_back(fault);
  } else {
    applyLocked(fault);
  }
}

std::string SimulatedCamera::apply(std::string_view faultText) {
  Fault fault;
  auto reason = parseFault(faultText, fault);
  if (reason.empty()) apply(fault);
  return reason;
}

void SimulatedCamera::applyLocked(const Fault& fault) {
  const bool before = faults.unplugged;
  faults.apply(fault);
  if (!before && faults.unplugged) {
    unplugNs = steadyNs();
    controlCondition.notify_all();
  }
  if (before && !faults.unplugged) {
    ++plugs;
    registers.powerOn();
    earlierReply = {};
  }
}

void SimulatedCamera::strikeDueFaults(std::uint64_t frame, double elapsedSeconds) {
  lastFrame = frame;
  lastSeconds = elapsedSeconds;
  for (std::size_t i = 0; i < scripted.size();) {
    const Fault fault = scripted[i];
    if ((fault.atFrame && frame >= *fault.atFrame) ||
        (fault.atSeconds && elapsedSeconds >= *fault.atSeconds)) {
      scripted.erase(scripted.begin() + static_cast<std::ptrdiff_t>(i));
      applyLocked(fault);
    } else {
      ++i;
    }
  }
}

bool SimulatedCamera::unpluggedLocked() {
  if (!faults.unplugged) return false;
  const double away = 1e-9 * static_cast<double>(steadyNs() - unplugNs);
  const double frames = static_cast<double>(lastFrame) + away * rate();
  const auto due = std::find_if(scripted.begin(), scripted.end(), [&](const Fault& fault) {
    return fault.kind == FaultKind::Replug &&
           ((fault.atFrame && frames >= static_cast<double>(*fault.atFrame)) ||
            (fault.atSeconds && lastSeconds + away >= *fault.atSeconds));
  });
  if (due == scripted.end()) return true;
  const Fault replug = *due;
  scripted.erase(due);
  applyLocked(replug);
  return false;
}

bool SimulatedCamera::unplugged() {
  MutexLock lock(controlMutex);
  return unpluggedLocked();
}

std::uint64_t SimulatedCamera::generation() const {
  MutexLock lock(controlMutex);
  return plugs;
}

}  // namespace simulation
