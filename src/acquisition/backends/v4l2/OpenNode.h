#pragma once

#include <linux/videodev2.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "acquisition/backends/v4l2/SystemCalls.h"

namespace v4l2 {

/// An open device node. The descriptor stays open as long as anything refers to it, also when the device has
/// been unplugged: a closed one could be handed out again.
class OpenNode {
 public:
  /// Opens the node itself, so that no failure can come between the descriptor and its owner. A negative
  /// `descriptor` tells why it could not be opened.
  OpenNode(std::shared_ptr<SystemCalls> table, std::string nodePath)
      : calls(std::move(table)), path(std::move(nodePath)), descriptor(calls->openNode(path)) {}
  ~OpenNode() {
    if (descriptor >= 0) calls->closeDescriptor(descriptor);
  }
  OpenNode(const OpenNode&) = delete;
  OpenNode& operator=(const OpenNode&) = delete;

  /// A request to the driver, repeated while signals interrupt it.
  int control(unsigned long request, void* argument) const {
    return controlRetried(*calls, descriptor, request, argument);
  }

  const std::shared_ptr<SystemCalls> calls;
  const std::string path;
  const int descriptor;
};

/// What this node can do, where `capabilities` speaks of all nodes of a device together.
inline std::uint32_t nodeCapabilities(const v4l2_capability& answer) {
  return (answer.capabilities & V4L2_CAP_DEVICE_CAPS) != 0 ? answer.device_caps : answer.capabilities;
}

}  // namespace v4l2
