// What is switched on a simulated camera while it runs: scene, temperatures, shutter and faults.
#include <algorithm>
#include <chrono>
#include <cstddef>

#include "acquisition/backends/simulated/SimulatedCamera.h"

namespace simulation {
namespace {

std::int64_t steadyNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

void SimulatedCamera::setScene(const SceneSpec& wanted) {
  MutexLock lock(frameMutex);
  sceneSpec = wanted;
  scene.reset();
  raw.reset();
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

std::vector<Defect> SimulatedCamera::defects() const { return spec.defectivePixels(); }

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
  const double elapsed = lastSeconds + away;
  const auto due = std::find_if(scripted.begin(), scripted.end(), [&](const Fault& fault) {
    return fault.kind == FaultKind::Replug &&
           ((fault.atFrame && frames >= static_cast<double>(*fault.atFrame)) ||
            (fault.atSeconds && elapsed >= *fault.atSeconds));
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
