#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "acquisition/USBDeviceDesc.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace transport {

/// The descriptor of the supported camera that a device path names ("... vid_5c2b&pid_96ea ..."), or an empty
/// one. A path that names several is taken for the first of 96ea, 96eb, 96ec.
USBDeviceDesc describePath(std::string_view path);
/// Its model name alone; "Unknown" when the path names no supported camera.
std::string modelNameOfPath(std::string_view path);

/// One supported camera found by the last enumeration. Its position in the list is the index that
/// applications use.
struct SupportedDevice {
  std::uint8_t enumerationIndex = 0;
  std::string friendlyName;
  USBDeviceDesc description;
};

/// The process-wide record of what enumeration found and what has been opened. Any thread may ask.
class DeviceList {
 public:
  static DeviceList& instance();

  /// Forgets what was found and takes over `platform`, whose enumeration numbers the entries refer to.
  void rebuild(std::shared_ptr<VideoPlatform> platform) EXCLUDES(mutex);
  /// Appends an entry and returns its list index. An enumeration index above 255 has no place: -1.
  int append(std::size_t enumerationIndex, std::string friendlyName, USBDeviceDesc description)
      EXCLUDES(mutex);

  int count() const EXCLUDES(mutex);
  /// Copies entry `index`; false when there is none.
  bool find(int index, SupportedDevice& device) const EXCLUDES(mutex);
  /// The platform that was enumerated; null before.
  std::shared_ptr<VideoPlatform> platform() const EXCLUDES(mutex);

  /// List indices that connections have opened, in order of opening.
  void recordOpened(int index) EXCLUDES(mutex);
  std::vector<std::uint8_t> opened() const EXCLUDES(mutex);

 private:
  mutable Mutex mutex{LockRank::deviceList};
  std::shared_ptr<VideoPlatform> source GUARDED_BY(mutex);
  std::vector<SupportedDevice> supported GUARDED_BY(mutex);
  std::vector<std::uint8_t> openedIndices GUARDED_BY(mutex);
};

}  // namespace transport
