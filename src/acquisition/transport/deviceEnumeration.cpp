// The process-wide members of UVCConnection: start of the platform and the list of cameras.

#include <algorithm>

#include "acquisition/transport/UVCConnection.h"
#include "acquisition/transport/deviceList.h"
#include "common/format.h"
#include "core/logger.h"

using transport::DeviceList;
using transport::DeviceRecord;

namespace {

constexpr std::size_t kLongestName = 260;

/// The platform that `init` started, until it is given back.
struct StartedPlatform {
  Mutex mutex{LockRank::startedPlatform};
  std::shared_ptr<transport::VideoPlatform> platform GUARDED_BY(mutex);
};

StartedPlatform& startedPlatform() {
  static auto* const instance = new StartedPlatform;  // never destroyed, like the device list
  return *instance;
}

/// At most 260 bytes, cut between two characters of UTF-8.
std::string boundedName(const std::string& name) {
  std::size_t length = std::min(name.size(), kLongestName);
  if (length == name.size()) return name;
  while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80) --length;
  return name.substr(0, length);
}

void listDevice(std::size_t enumerationIndex, const DeviceRecord& record) {
  const std::string name = boundedName(record.friendlyName);
  const USBDeviceDesc description = transport::describePath(record.path);
  const int index =
      description.modelName.empty() ? -1 : DeviceList::instance().append(enumerationIndex, name, description);
  if (index < 0) {
    logger::info(format("{:s}\033[0;49;31m <unsupported>", name), LOG_HERE);
    return;
  }
  logger::info(format("└ {:s} (index {:d}) {:s}", transport::modelNameOfPath(record.path), index, name),
               LOG_HERE);
}

}  // namespace

bool UVCConnection::init() {
  shutdown();
  const auto platform = transport::videoPlatform();
  DeviceList::instance().rebuild(platform);

  const transport::StepResult started = platform->start();
  showOperation(started);
  if (started.failed()) return false;  // the platform has said why
  {
    MutexLock lock(startedPlatform().mutex);
    startedPlatform().platform = platform;
  }

  std::vector<DeviceRecord> records;
  try {
    const transport::StepResult enumerated = platform->enumerate(records);
    showOperation(enumerated);
    CheckResult(enumerated.status, enumerated.step);
  } catch (const transport::TransportError&) {
    shutdown();
    return false;
  }
  logger::info("Video devices detected:", LOG_HERE);
  for (std::size_t i = 0; i < records.size(); ++i) listDevice(i, records[i]);
  return true;
}

void UVCConnection::shutdown() {
  std::shared_ptr<transport::VideoPlatform> platform;
  {
    MutexLock lock(startedPlatform().mutex);
    platform.swap(startedPlatform().platform);
  }
  if (platform) platform->stop();
}

int UVCConnection::deviceCount() { return DeviceList::instance().count(); }

std::string UVCConnection::deviceName(int index) {
  transport::SupportedDevice device;
  return DeviceList::instance().find(index, device) ? device.friendlyName : "Invalid index";
}

USBDeviceDesc UVCConnection::describeDevice(int index) {
  transport::SupportedDevice device;
  DeviceList::instance().find(index, device);
  return device.description;
}
