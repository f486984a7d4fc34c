#include "acquisition/transport/UVCConnection.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <utility>

#include "acquisition/transport/deviceList.h"
#include "acquisition/transport/extensionUnit.h"
#include "common/format.h"
#include "common/numerics.h"
#include "core/logger.h"
#include "core/settings.h"

using transport::DeviceList;
using transport::StepResult;
using transport::TransportError;

namespace {

constexpr std::uint32_t kFourccY16 = 0x20363159;  // "Y16 "
constexpr transport::Guid kKnownUnits[] = {transport::kCameraUnit};

std::atomic<bool> transfersRefused{false};

}  // namespace

/// One counted start of a platform, given back at destruction.
class UVCConnection::PlatformStart {
 public:
  explicit PlatformStart(std::shared_ptr<transport::VideoPlatform> toStart)
      : platform(std::move(toStart)), result(platform->start()) {}
  ~PlatformStart() {
    if (!result.failed()) platform->stop();
  }
  PlatformStart(const PlatformStart&) = delete;
  PlatformStart& operator=(const PlatformStart&) = delete;

  const StepResult& outcome() const { return result; }

 private:
  std::shared_ptr<transport::VideoPlatform> platform;
  StepResult result;
};

UVCConnection::UVCConnection(const char* name, UVCBackendEnum backend)
    : connectionName(name ? name : ""), backendChoice(backend), cameraRegisters(*this) {}

UVCConnection::~UVCConnection() {
  closing = true;
  endDelivery();
}

void UVCConnection::CheckResult(long hr, const std::string& step) {
  // A long has 64 bits on some systems, where a failed HRESULT would look positive.
  const auto status = static_cast<std::int32_t>(hr);
  if (status >= 0) return;
  const std::string text = format("{:s} failed (error code {:d})", step, status);
  logger::error(text, LOG_HERE);
  throw TransportError(text);
}

void UVCConnection::showOperation(const StepResult& result) {
  if (!settings::current().UVCDebug) return;
  logger::debug(format("{:s}: status {:d}", result.step, result.status), LOG_HERE);
}

void UVCConnection::check(const StepResult& result) {
  showOperation(result);
  if (result.status == transport::kStatusDeviceLost) lost = true;
  CheckResult(result.status, result.step);
}

bool UVCConnection::connectUVC(const int& vendor, const int& product, const int& index, dataTypeEnum) {
  transport::SupportedDevice entry;
  if (!DeviceList::instance().find(index, entry)) {
    logger::error(format("No camera with index {:d}", index), LOG_HERE);
    return false;
  }
  releaseDevice();
  vid = vendor;
  pid = product;
  const char* failure = nullptr;
  if (!initializeDevice(entry.enumerationIndex, DeviceList::instance().platform())) {
    failure = "InitializeDevice failed...";
  } else if (!initializeXuGuidToNodeMap()) {
    failure = "InitializeXuGuidToNodeMap failed...";
  } else if (!initializeMediaTypes()) {
    failure = "InitializeMediaTypes failed...";
  }
  if (failure) {
    logger::error(failure, LOG_HERE);
    releaseDevice();
    return false;
  }
  framePeriod = std::chrono::microseconds(truncateToI32(1e6 / double{entry.description.frameRate}));
  selectedIndex = index;
  DeviceList::instance().recordOpened(index);
  return true;
}

bool UVCConnection::connectUVC(const std::string&, int, int) {
  logger::info("Stub", LOG_HERE);
  return false;
}

bool UVCConnection::initializeDevice(std::size_t enumerationIndex,
                                     std::shared_ptr<transport::VideoPlatform> platform) {
  MutexLock lock(connectionMutex);
  deviceIndex = static_cast<std::int32_t>(enumerationIndex);
  try {
    platformStart = std::make_unique<PlatformStart>(platform);
    showOperation(platformStart->outcome());
    if (platformStart->outcome().failed()) return false;  // the platform has said why
    check(platform->open(enumerationIndex, *this, device));
    return device != nullptr;
  } catch (const TransportError&) {
    return false;
  }
}

bool UVCConnection::initializeXuGuidToNodeMap() {
  try {
    std::vector<transport::TopologyNode> nodes;
    check(device->topologyNodes(nodes));
    for (const transport::TopologyNode& node : nodes) {
      if (!node.deviceSpecific) continue;
      for (const transport::Guid& unit : kKnownUnits) {
        const StepResult probed = device->probeUnit(node.id, unit);
        const bool carries = probed.status == transport::kStatusMoreData;
        if (carries) unitNodes[unit] = node.id;
        if (carries || probed.status == transport::kStatusSetNotFound) {
          showOperation(probed);  // both answers have the sign of a failure
        } else {
          check(probed);
        }
      }
    }
    return true;
  } catch (const TransportError&) {
    return false;
  }
}

bool UVCConnection::initializeMediaTypes() {
  try {
    std::vector<transport::StreamType> types;
    check(device->streamTypes(types));
    // The width of the last kept type beside the smallest height of all: the cameras offer one type.
    typeWidth = 0;
    typeHeight = std::numeric_limits<std::uint32_t>::max();
    std::size_t first = types.size();
    for (std::size_t i = 0; i < types.size(); ++i) {
      if (types[i].fourcc != kFourccY16) continue;
      if (first == types.size()) first = i;
      typeWidth = types[i].width;
      typeHeight = std::min(typeHeight, types[i].height);
    }
    if (first == types.size()) return false;

    transport::SelectedType actual;
    check(device->selectType(first, actual));
    typePitch = actual.pitch;
    return true;
  } catch (const TransportError&) {
    return false;
  }
}

/// No callback runs once this returns, and nobody knows the ring any more.
void UVCConnection::endDelivery() {
  streaming = false;
  if (device) device->close();
  MutexLock lock(connectionMutex);
  ring = {};
}

void UVCConnection::releaseDevice() {
  endDelivery();
  device.reset();
  platformStart.reset();
  unitNodes.clear();
  deviceIndex = -1;
  selectedIndex = -1;
  lost = false;
  dropped = 0;
}

void UVCConnection::refuseTransfers(bool on) { transfersRefused = on; }

void UVCConnection::transferUnit(std::uint32_t selector, transport::TransferFlags flags,
                                 std::span<std::uint8_t> bytes) {
  if (closing || transfersRefused) throw TransportError("Connection is closing");
  const auto unit = unitNodes.find(transport::kCameraUnit);
  if (!device || unit == unitNodes.end()) {
    logger::error("Unknown extension unit", LOG_HERE);
    throw TransportError("Unknown extension unit");
  }
  check(device->transferUnit(unit->second, unit->first, selector, flags, bytes));
}
