#pragma once

#include <cstdint>

#include "tools/soak/pace.h"

namespace soak {

struct StormOptions {
  unsigned cycles = 500;
  std::uint64_t seed = 1;
  unsigned first = 1;               ///< number of the first cycle: each has a seed of its own
  bool smallCameras = !kFullSpeed;  ///< the 320 x 240 model only
};

/// Runs that many lives of the SDK (StormCycle) and watches what the process holds in between. Prints how it
/// goes; false when something was found.
bool runStorm(const StormOptions& options);

}  // namespace soak
