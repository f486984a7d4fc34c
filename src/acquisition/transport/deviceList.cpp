#include "acquisition/transport/deviceList.h"

#include <limits>
#include <utility>

namespace transport {
namespace {

struct PathRow {
  const char* substring;
  USBDeviceDesc description;
};

USBDeviceDesc thermalCamera(std::uint32_t pid, const char* model, const char* sensor, float frameRate,
                            std::uint16_t width, std::uint16_t height, bool tableFlag) {
  USBDeviceDesc description;
  description.vid = 0x5c2b;
  description.pid = pid;
  description.path = "/dev/bus/usb";
  description.modelName = model;
  description.sensor = sensor;
  description.frameRate = frameRate;
  description.width = width;
  description.height = height;
  description.dataType = dataTypeThermal;
  description.linkType = linkTypeUVC;
  description.tableFlag = tableFlag;
  return description;
}

/// In the order of the tests: the first substring found decides.
const std::vector<PathRow>& pathTable() {
  static const std::vector<PathRow> table = {
      {"vid_5c2b&pid_96ea", thermalCamera(0x96ea, "Marlow 3", "Quor320", 60.0f, 320, 240, false)},
      {"vid_5c2b&pid_96eb", thermalCamera(0x96eb, "Bramble 6", "Velt640D", 60.0f, 640, 480, true)},
      {"vid_5c2b&pid_96ec", thermalCamera(0x96ec, "Hollis 12", "Velt1280", 30.0f, 1280, 1024, true)},
  };
  return table;
}

}  // namespace

USBDeviceDesc describePath(std::string_view path) {
  for (const PathRow& row : pathTable()) {
    if (path.find(row.substring) != std::string_view::npos) return row.description;
  }
  return {};
}

std::string modelNameOfPath(std::string_view path) {
  std::string model = describePath(path).modelName;
  return model.empty() ? "Unknown" : model;
}

DeviceList& DeviceList::instance() {
  static auto* const list = new DeviceList;  // never destroyed: its platform may be delivering at exit
  return *list;
}

void DeviceList::rebuild(std::shared_ptr<VideoPlatform> platform) {
  MutexLock lock(mutex);
  source = std::move(platform);
  supported.clear();
}

int DeviceList::append(std::size_t enumerationIndex, std::string friendlyName, USBDeviceDesc description) {
  if (enumerationIndex > std::numeric_limits<std::uint8_t>::max()) return -1;
  MutexLock lock(mutex);
  supported.push_back(
      {static_cast<std::uint8_t>(enumerationIndex), std::move(friendlyName), std::move(description)});
  return static_cast<int>(supported.size()) - 1;
}

int DeviceList::count() const {
  MutexLock lock(mutex);
  return static_cast<int>(supported.size());
}

bool DeviceList::find(int index, SupportedDevice& device) const {
  MutexLock lock(mutex);
  if (index < 0 || static_cast<std::size_t>(index) >= supported.size()) return false;
  device = supported[static_cast<std::size_t>(index)];
  return true;
}

std::shared_ptr<VideoPlatform> DeviceList::platform() const {
  MutexLock lock(mutex);
  return source;
}

void DeviceList::recordOpened(int index) {
  MutexLock lock(mutex);
  openedIndices.push_back(static_cast<std::uint8_t>(index));
}

std::vector<std::uint8_t> DeviceList::opened() const {
  MutexLock lock(mutex);
  return openedIndices;
}

}  // namespace transport
