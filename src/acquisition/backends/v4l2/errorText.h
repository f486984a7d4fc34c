#pragma once

#include <cstdint>
#include <string>

#include "acquisition/backends/v4l2/SystemCalls.h"

namespace v4l2 {

/// The status a call's result stands for: every way in which the kernel says that a device is gone becomes
/// transport::kStatusDeviceLost, everything else stays.
std::int32_t statusOf(int result);

/// What a negative status means to a user, in a few words: "in use by another program".
std::string errorText(std::int32_t status);
/// The same for a transfer with an extension unit, where the errno values mean other things.
std::string transferErrorText(std::int32_t status);

/// Who owns a node and what to do about it: "owner root, group video, mode 0660; install ...".
std::string permissionRemedy(SystemCalls& calls, const std::string& node);

}  // namespace v4l2
