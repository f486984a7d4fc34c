#pragma once

#include <chrono>

#include "common/sanitized.h"

// What a machine may be expected to keep to.
namespace soak {

/// True where the code runs at full speed.
constexpr bool kFullSpeed = !OMBRIX_SANITIZED;

/// The bound of a destruction, and of every call that waits for nothing but the frame that is being
/// processed. A sanitizer makes that frame take seconds.
constexpr std::chrono::seconds kClosingBound{kFullSpeed ? 2 : 8};

}  // namespace soak
