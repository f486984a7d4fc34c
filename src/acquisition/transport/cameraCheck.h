#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "acquisition/transport/videoPlatform.h"

namespace transport {

/// What trying a camera out gave.
struct CameraCheck {
  std::string name;
  std::string path;
  std::string model;
  bool picture = false;  ///< a whole sample arrived
  std::vector<Obstacle> obstacles;
};

/// What trying out all supported cameras gave.
struct SystemCheck {
  std::vector<CameraCheck> cameras;
  std::vector<Obstacle> obstacles;  ///< those that belong to no listed camera
  /// True when one camera gives a picture and has nothing in its way.
  bool usable() const;
};

/// Opens every supported camera of the platform, takes one sample of each and closes it again. Changes
/// nothing in the cameras. Waits at most `patience` for each sample.
SystemCheck checkCameras(VideoPlatform& platform, std::chrono::milliseconds patience);

}  // namespace transport
