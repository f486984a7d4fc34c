#include "acquisition/backends/simulated/SimulatedPlatform.h"

#include <cerrno>
#include <exception>
#include <utility>

#include "common/format.h"
#include "core/logger.h"
#include "platform/system.h"

namespace simulation {
namespace {

/// Names vendor and product as a Windows device path does, which is where cameras are recognised by.
std::string devicePath(const SimulatedCamera& camera) {
  return format("\\\\?\\usb#vid_5c2b&pid_{:04x}&mi_00#{:d}#simulated", camera.model().productId,
                camera.description().serialNumber);
}

}  // namespace

SimulatedPlatform::SimulatedPlatform(const Scenario& scenario) {
  for (const auto& spec : scenario.cameras) {
    auto& seat = seats.emplace_back(std::make_shared<Seat>());
    seat->camera = std::make_shared<SimulatedCamera>(spec);
  }
}

transport::StepResult SimulatedPlatform::start() {
  MutexLock lock(mutex);
  ++starts;
  return {};
}

void SimulatedPlatform::stop() {
  MutexLock lock(mutex);
  if (starts > 0) --starts;
}

int SimulatedPlatform::startCount() const {
  MutexLock lock(mutex);
  return starts;
}

transport::StepResult SimulatedPlatform::enumerate(std::vector<transport::DeviceRecord>& devices) {
  MutexLock lock(mutex);
  devices.clear();
  enumerated.clear();
  for (const auto& seat : seats) {
    if (seat->camera->unplugged()) continue;
    enumerated.push_back(seat);
    devices.push_back({std::string(seat->camera->model().name), devicePath(*seat->camera)});
  }
  return {0, transport::step::kEnumerate};
}

transport::StepResult SimulatedPlatform::open(std::size_t index, transport::SampleReceiver& receiver,
                                              std::unique_ptr<transport::VideoDevice>& device) {
  std::unique_ptr<transport::VideoDevice> opened;
  {
    MutexLock lock(mutex);
    if (index >= enumerated.size()) return {-EINVAL, transport::step::kActivate};
    const auto seat = enumerated[index];
    if (seat->camera->unplugged()) return {transport::kStatusDeviceLost, transport::step::kActivate};
    MutexLock seatLock(seat->mutex);
    if (!seat->delivery.expired()) return {-EBUSY, transport::step::kActivate};
    const auto delivery = std::make_shared<SampleDelivery>(seat->camera, seat->record, receiver);
    seat->delivery = delivery;
    opened = std::make_unique<SimulatedDevice>(seat, delivery);
  }
  device = std::move(opened);  // outside the locks: this may destroy, and so close, an earlier device
  return {0, transport::step::kActivate};
}

std::int64_t SimulatedPlatform::handOverNs(std::size_t index, std::uint64_t sequence) const {
  return seats.at(index)->record->handOverNs(sequence);
}

std::uint64_t SimulatedPlatform::pump(std::size_t index, std::uint64_t count,
                                      std::chrono::milliseconds timeout) {
  std::shared_ptr<SampleDelivery> delivery;
  {
    auto& seat = *seats.at(index);
    MutexLock lock(seat.mutex);
    delivery = seat.delivery.lock();
  }
  return delivery ? delivery->pump(count, timeout) : 0;
}

std::shared_ptr<SimulatedPlatform> makeSimulatedPlatform(const std::string& scenarioText) {
  Scenario scenario;
  ScenarioError error;
  try {
    if (!readScenario(scenarioText, scenario, error)) {
      const auto place =
          error.line > 0 ? format("'{:s}' line {:d}", error.file, error.line) : format("'{:s}'", error.file);
      logger::error(format("Simulation scenario {:s}: {:s}", place, error.reason), LOG_HERE);
    }
  } catch (const std::exception& failure) {  // out of memory, a file system that throws
    scenario = {};
    logger::error(format("Simulation scenario '{:s}': {:s}", scenarioText, failure.what()), LOG_HERE);
  }
  return std::make_shared<SimulatedPlatform>(scenario);
}

std::shared_ptr<transport::VideoPlatform> makeSimulatedPlatform() {
  return makeSimulatedPlatform(platform::environmentVariable("OMBRIX_SIMULATION").value_or(""));
}

}  // namespace simulation
