#pragma once

#include "ombrix/Ombrix.h"

namespace tools {

/// Frames until the shutter has moved and the stripe removal has followed.
constexpr unsigned kShutterSettlingFrames = 24;

/// A camera that looks at its closed shutter; it is opened again in any case.
class ClosedShutter {
 public:
  explicit ClosedShutter(Ombrix& openedCamera) : camera(openedCamera) { camera.closeShutter(); }
  ~ClosedShutter() { camera.openShutter(); }
  ClosedShutter(const ClosedShutter&) = delete;
  ClosedShutter& operator=(const ClosedShutter&) = delete;

 private:
  Ombrix& camera;
};

}  // namespace tools
