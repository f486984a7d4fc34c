#pragma once

#include <string>

#include "tools/common/contactSheet.h"
#include "tools/common/frameLog.h"

namespace tools {

/// One camera model's part of the demonstration.
struct ModelPlan {
  std::string model;     ///< as scenarios spell it
  std::string scenario;  ///< the simulator's text
  int frames = 600;      ///< colour frames to take at full rate
  int preset = 0;
};

struct ModelResult {
  std::string name;  ///< the camera's display name
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  float nominalRate = 0.0f;
  StreamFigures colour;   ///< the main job: a loop of getColorFrame
  StreamFigures thermal;  ///< a shorter loop of getRawFrame behind it
  double cpuShare = 0.0;  ///< of one core during the main job, the simulator's own work taken off
  double simulatorCpuShare = 0.0;
  Picture rawPicture;  ///< the last raw frame, stretched linearly
  Picture colourPicture;
  Picture overlayPicture;  ///< a later colour frame with every overlay
};

/// Runs the model from the SDK's start to its end. Throws std::runtime_error with one line.
ModelResult runModel(const ModelPlan& plan);

}  // namespace tools
