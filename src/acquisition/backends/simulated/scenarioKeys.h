#pragma once

#include <string>

#include "acquisition/backends/simulated/scenario.h"

namespace simulation {

/// Sets one option of a camera. Relative scene paths are looked up in `folder` first, then in the working
/// directory. An empty result means success, otherwise it is the reason.
std::string applyKey(const std::string& key, const std::string& value, const std::string& folder,
                     CameraSpec& camera);

}  // namespace simulation
