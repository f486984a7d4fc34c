#include <algorithm>
#include <cerrno>
#include <utility>

#include "acquisition/backends/simulated/SimulatedPlatform.h"

namespace simulation {
namespace {

using transport::StepResult;

constexpr transport::Guid kCameraUnit{
    0x39D89422, 0xA0A4, 0x443E, {0x87, 0xCC, 0xB4, 0x99, 0x07, 0x43, 0xDD, 0x5A}};
// The lens, a unit of the chip's maker, the cameras' own unit, the way out.
constexpr transport::TopologyNode kNodes[] = {{0, false}, {1, true}, {2, true}, {3, false}};
constexpr int kUnitNode = 2;

}  // namespace

SimulatedDevice::SimulatedDevice(std::shared_ptr<Seat> deviceSeat,
                                 std::shared_ptr<SampleDelivery> deviceDelivery)
    : seat(std::move(deviceSeat)),
      delivery(std::move(deviceDelivery)),
      generation(seat->camera->generation()) {}

SimulatedDevice::~SimulatedDevice() { close(); }

bool SimulatedDevice::lost() const {
  return seat->camera->unplugged() || seat->camera->generation() != generation;
}

StepResult SimulatedDevice::streamTypes(std::vector<transport::StreamType>& types) {
  types.clear();
  if (lost()) return {transport::kStatusDeviceLost, transport::step::kTypeByIndex};
  types = seat->camera->streamTypes();
  return {0, transport::step::kTypeByIndex};
}

StepResult SimulatedDevice::selectType(std::size_t index, transport::SelectedType& actual) {
  if (lost()) return {transport::kStatusDeviceLost, transport::step::kSetType};
  transport::StreamType type;
  const auto status = seat->camera->selectType(index, type);
  if (status >= 0) actual = {type.width, type.height, 0};
  return {status, transport::step::kSetType};
}

StepResult SimulatedDevice::requestSample() { return {delivery->request(), transport::step::kFirstSample}; }

void SimulatedDevice::beginClose() { delivery->beginClose(); }

void SimulatedDevice::close() {
  delivery->close();
  MutexLock lock(seat->mutex);
  if (seat->delivery.lock() == delivery) seat->delivery.reset();
}

void SimulatedDevice::postFailure(std::int32_t status) {
  MutexLock lock(seat->record->mutex);
  seat->record->current.postedStatus = status;
  ++seat->record->current.posted;
}

StepResult SimulatedDevice::topologyNodes(std::vector<transport::TopologyNode>& nodes) {
  nodes.clear();
  if (lost()) return {transport::kStatusDeviceLost, transport::step::kNumNodes};
  nodes.assign(std::begin(kNodes), std::end(kNodes));
  return {0, transport::step::kNumNodes};
}

StepResult SimulatedDevice::probeUnit(int node, const transport::Guid& unit) {
  if (lost()) return {transport::kStatusDeviceLost, transport::step::kNodeProperty};
  if (node < 0 || node >= static_cast<int>(std::size(kNodes)))
    return {-EINVAL, transport::step::kNodeProperty};
  const bool carries = node == kUnitNode && unit == kCameraUnit;
  return {carries ? transport::kStatusMoreData : transport::kStatusSetNotFound,
          transport::step::kNodeProperty};
}

StepResult SimulatedDevice::transferUnit(int node, const transport::Guid& unit, std::uint32_t selector,
                                         transport::TransferFlags flags, std::span<std::uint8_t> bytes) {
  if (lost()) return {transport::kStatusDeviceLost, transport::step::kTransfer};
  if (node != kUnitNode || unit != kCameraUnit) return {-ENOENT, transport::step::kTransfer};
  const auto status = flags == transport::kTransferSet ? seat->camera->controlSet(selector, bytes)
                                                       : seat->camera->controlGet(selector, bytes);
  return {status, transport::step::kTransfer};
}

}  // namespace simulation
