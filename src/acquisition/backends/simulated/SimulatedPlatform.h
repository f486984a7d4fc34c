#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/SampleDelivery.h"
#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "acquisition/backends/simulated/scenario.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace simulation {

/// A camera's place at the simulated platform: the camera and whoever has opened it.
struct Seat {
  std::shared_ptr<SimulatedCamera> camera;
  std::shared_ptr<StreamRecord> record = std::make_shared<StreamRecord>();
  Mutex mutex{LockRank::seat};
  std::weak_ptr<SampleDelivery> delivery GUARDED_BY(mutex);  ///< of the open device, if any
};

/// One opened simulated camera.
class SimulatedDevice : public transport::VideoDevice {
 public:
  SimulatedDevice(std::shared_ptr<Seat> seat, std::shared_ptr<SampleDelivery> delivery);
  ~SimulatedDevice() override;

  transport::StepResult streamTypes(std::vector<transport::StreamType>& types) override;
  transport::StepResult selectType(std::size_t index, transport::SelectedType& actual) override;
  transport::StepResult requestSample() override;
  void beginClose() override;
  void close() override;
  void postFailure(std::int32_t status) override;
  transport::StepResult topologyNodes(std::vector<transport::TopologyNode>& nodes) override;
  transport::StepResult probeUnit(int node, const transport::Guid& unit) override;
  transport::StepResult transferUnit(int node, const transport::Guid& unit, std::uint32_t selector,
                                     transport::TransferFlags flags, std::span<std::uint8_t> bytes) override;

 private:
  bool lost() const;

  const std::shared_ptr<Seat> seat;
  const std::shared_ptr<SampleDelivery> delivery;
  const std::uint64_t generation;
};

/// The simulated video platform: the cameras of a scenario. Tests keep it to reach the cameras and to pump
/// them.
class SimulatedPlatform : public transport::VideoPlatform {
 public:
  explicit SimulatedPlatform(const Scenario& scenario);

  transport::StepResult start() override;
  void stop() override;
  transport::StepResult enumerate(std::vector<transport::DeviceRecord>& devices) override;
  transport::StepResult open(std::size_t index, transport::SampleReceiver& receiver,
                             std::unique_ptr<transport::VideoDevice>& device) override;

  std::size_t cameraCount() const { return seats.size(); }
  /// Camera `index` of the scenario; the index is below cameraCount().
  SimulatedCamera& camera(std::size_t index) { return *seats.at(index)->camera; }
  StreamCounts counts(std::size_t index) const { return seats.at(index)->record->counts(); }
  /// Steady-clock time at which whole sample `sequence` (from 1) of the stream was handed over, 0 when
  /// unknown.
  std::int64_t handOverNs(std::size_t index, std::uint64_t sequence) const;
  /// Single-step mode: lets a camera deliver `count` samples, waits for the callbacks and returns how many
  /// frame periods passed; fewer when the stream ends or nobody asks for samples in time.
  std::uint64_t pump(std::size_t index, std::uint64_t count,
                     std::chrono::milliseconds timeout = std::chrono::milliseconds(10000));
  /// Starts minus stops.
  int startCount() const;

 private:
  std::vector<std::shared_ptr<Seat>> seats;
  mutable Mutex mutex{LockRank::platform};
  std::vector<std::shared_ptr<Seat>> enumerated GUARDED_BY(mutex);
  int starts GUARDED_BY(mutex) = 0;
};

/// The platform that the environment variable OMBRIX_SIMULATION describes; a Bramble 6 looking at a room
/// without it. A faulty scenario is logged in one line and gives a platform without cameras. Never null.
std::shared_ptr<transport::VideoPlatform> makeSimulatedPlatform();

/// The same from a scenario text or path.
std::shared_ptr<SimulatedPlatform> makeSimulatedPlatform(const std::string& scenario);

}  // namespace simulation
