#pragma once

#include <string>
#include <vector>

#include "acquisition/backends/v4l2/SystemCalls.h"
#include "acquisition/transport/videoPlatform.h"

namespace v4l2 {

/// Supported cameras on the USB without a video node that can be used, and why: the driver is missing, or has
/// not taken the camera, or the device folder lacks the node, or the node does not answer.
std::vector<transport::Obstacle> camerasWithoutNode(SystemCalls& calls);

/// What a failed step on a node means: who may use it, or who is using it.
transport::Obstacle explainFailure(SystemCalls& calls, const std::string& node,
                                   const transport::StepResult& failed);

/// The processes that have the node open, as far as /proc shows them: "process 321 (viewer), ...". This
/// process is left out.
std::string holders(SystemCalls& calls, const std::string& node);

}  // namespace v4l2
