#include "acquisition/backends/v4l2/V4L2Platform.h"

#include <cerrno>
#include <utility>

#include "acquisition/backends/v4l2/V4L2Device.h"
#include "acquisition/backends/v4l2/diagnosis.h"
#include "acquisition/backends/v4l2/errorText.h"
#include "common/format.h"
#include "core/logger.h"

namespace v4l2 {

V4L2Platform::V4L2Platform(std::shared_ptr<SystemCalls> table) : calls(std::move(table)) {}

transport::StepResult V4L2Platform::start() {
  MutexLock lock(mutex);
  ++starts;
  return {};
}

void V4L2Platform::stop() {
  MutexLock lock(mutex);
  if (starts > 0) --starts;
}

transport::StepResult V4L2Platform::enumerate(std::vector<transport::DeviceRecord>& devices) {
  std::vector<VideoNode> nodes = listVideoNodes(*calls);
  std::erase_if(nodes, [this](const VideoNode& node) { return captureStatus(*calls, node) != 0; });
  devices.clear();
  for (const VideoNode& node : nodes) devices.push_back({node.friendlyName, node.pathText()});
  if (nodes.empty()) logger::info("No video capture device found ('ombrix doctor' tells why)", LOG_HERE);
  MutexLock lock(mutex);
  enumerated = std::move(nodes);
  return {0, transport::step::kEnumerate};
}

transport::StepResult V4L2Platform::open(std::size_t index, transport::SampleReceiver& receiver,
                                         std::unique_ptr<transport::VideoDevice>& device) {
  VideoNode place;
  if (!nodeOf(index, place)) return {-EINVAL, transport::step::kActivate};
  auto node = std::make_shared<OpenNode>(calls, place.devicePath);
  if (node->descriptor < 0) {
    const std::int32_t status = statusOf(node->descriptor);
    const bool forbidden = status == -EACCES || status == -EPERM;
    const std::string remedy = forbidden ? " (" + permissionRemedy(*calls, place.devicePath) + ")" : "";
    logger::error(format("{:s}: {:s}{:s}", place.devicePath, errorText(status), remedy), LOG_HERE);
    return {status, transport::step::kActivate};
  }
  device = std::make_unique<V4L2Device>(place, std::move(node), receiver);
  return {0, transport::step::kActivate};
}

bool V4L2Platform::nodeOf(std::size_t index, VideoNode& node) {
  MutexLock lock(mutex);
  if (index >= enumerated.size()) return false;
  node = enumerated[index];
  return true;
}

std::vector<transport::Obstacle> V4L2Platform::unlistedCameras() { return camerasWithoutNode(*calls); }

transport::Obstacle V4L2Platform::explain(std::size_t index, const transport::StepResult& failed) {
  VideoNode node;
  if (!nodeOf(index, node)) return VideoPlatform::explain(index, failed);
  return explainFailure(*calls, node.devicePath, failed);
}

std::shared_ptr<transport::VideoPlatform> makeV4L2Platform() {
  return std::make_shared<V4L2Platform>(systemCalls());
}

}  // namespace v4l2
