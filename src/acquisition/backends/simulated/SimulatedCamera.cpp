#include "acquisition/backends/simulated/SimulatedCamera.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "acquisition/backends/simulated/randomSource.h"

namespace simulation {
namespace {

constexpr std::uint32_t kY16 = 0x20363159;   // "Y16 "
constexpr std::uint32_t kYuy2 = 0x32595559;  // "YUY2"
constexpr std::uint32_t kNv12 = 0x3231564E;  // "NV12"
constexpr std::size_t kOversize = 4096;
constexpr std::uint8_t kJunk = 0xA5;

// Warm-up of detector and housing.
constexpr double kStartCelsius = 25.0, kDetectorRiseK = 8.0, kDetectorSeconds = 600.0;
constexpr double kHousingRiseK = 4.0, kHousingSeconds = 1200.0;

Flash makeFlash(const CameraSpec& spec) {
  std::vector<std::uint8_t> map(307200, 0);
  for (const auto& defect : spec.defectivePixels()) {
    if (defect.pixel < map.size()) map[defect.pixel] = 1;
  }
  return {*spec.model, spec.serialNumber, spec.flash, std::move(map)};
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
  if (sceneSpec.isRaw()) {
    if (!raw) raw = std::make_unique<RawScene>(sceneSpec, *spec.model);
  } else if (!scene) {
    scene = makeScene(sceneSpec, *spec.model);
  }
  if (detector) return;
  detector = std::make_unique<Detector>(*spec.model, spec.detectorOptions());
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
    std::fill_n(buffer.begin() + static_cast<std::ptrdiff_t>(whole), kOversize, kJunk);
    sample.sizeBytes = whole + kOversize;
  }
  if (taken.shortSamples != 0) sample.sizeBytes = whole / 2;
  if (taken.emptySamples != 0) sample.sizeBytes = 0;
  sample.whole = sample.sizeBytes >= whole;
  return sample;
}

}  // namespace simulation
