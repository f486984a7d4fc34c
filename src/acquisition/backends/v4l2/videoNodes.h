#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "acquisition/backends/v4l2/SystemCalls.h"
#include "acquisition/backends/v4l2/usbDescriptors.h"

namespace v4l2 {

/// A video node as sysfs shows it.
struct VideoNode {
  unsigned number = 0;
  std::string devicePath;    ///< "/dev/video0"
  std::string sysPath;       ///< "/sys/class/video4linux/video0"
  std::string friendlyName;  ///< the driver's name of the camera
  int vendorId = -1;         ///< -1 when it is no USB device
  int productId = -1;

  /// What transport::describePath recognises cameras by: "/dev/video0 vid_5c2b&pid_96eb".
  std::string pathText() const;
};

/// Every video node there is, in numeric order.
std::vector<VideoNode> listVideoNodes(SystemCalls& calls);

/// The node of that name in sysfs ("video0"); nothing for names of other things.
std::optional<VideoNode> videoNode(SystemCalls& calls, std::string_view name);

/// Not a failure: the node does something else.
inline constexpr int kOtherNode = 1;

/// 0 when the node delivers pictures into mapped memory, kOtherNode when it does not, as a camera's second
/// node for metadata, or why it cannot be asked (negative). A node that may not be opened counts when it is
/// its camera's first.
int captureStatus(SystemCalls& calls, const VideoNode& node);

/// The extension units of the node's camera, of its active configuration only. Negative when the descriptors
/// cannot be read.
int nodeUnits(SystemCalls& calls, const VideoNode& node, std::vector<ExtensionUnit>& units);

/// The value of a file with an unsigned number of at most `digits` digits; nothing when it holds anything
/// else.
std::optional<unsigned> numberInFile(SystemCalls& calls, const std::string& path, int base,
                                     std::size_t digits);

}  // namespace v4l2
