#pragma once

#include "ombrix/Ombrix.h"
#include "tools/soak/Random.h"
#include "tools/soak/Watchdog.h"

// What an application's threads do to cameras.
namespace soak {

struct CallLimits {
  /// Calls may wait without a limit of their own: somebody will destroy the SDK under them.
  bool mayBlock = false;
};

/// Makes one call at random on `camera`, most of them setters. handle: the camera's, for messages.
void makeRandomCall(Watchdog& watchdog, Ombrix& camera, int handle, Random& random, const CallLimits& limits);

}  // namespace soak
