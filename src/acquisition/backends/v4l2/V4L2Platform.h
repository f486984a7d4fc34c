#pragma once

#include <memory>
#include <vector>

#include "acquisition/backends/v4l2/SystemCalls.h"
#include "acquisition/backends/v4l2/videoNodes.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace v4l2 {

/// Linux: cameras behind the kernel's video nodes.
class V4L2Platform : public transport::VideoPlatform {
 public:
  explicit V4L2Platform(std::shared_ptr<SystemCalls> table);

  transport::StepResult start() override;
  void stop() override;
  transport::StepResult enumerate(std::vector<transport::DeviceRecord>& devices) override;
  transport::StepResult open(std::size_t index, transport::SampleReceiver& receiver,
                             std::unique_ptr<transport::VideoDevice>& device) override;
  std::vector<transport::Obstacle> unlistedCameras() override;
  transport::Obstacle explain(std::size_t index, const transport::StepResult& failed) override;

 private:
  bool nodeOf(std::size_t index, VideoNode& node) EXCLUDES(mutex);

  const std::shared_ptr<SystemCalls> calls;
  Mutex mutex{LockRank::platform};
  std::vector<VideoNode> enumerated GUARDED_BY(mutex);
  int starts GUARDED_BY(mutex) = 0;
};

/// The platform over the system calls in use. Never null.
std::shared_ptr<transport::VideoPlatform> makeV4L2Platform();

}  // namespace v4l2
