#pragma once

#include <cstdint>

#include "core/logger.h"
#include "ombrix/Ombrix.h"

class imageAcquisition;

enum class FrameKind { thermal, color };

/// The getters' body: waits up to `timeoutMs` (negative: without limit) for the camera's next published frame
/// of a kind, copies it and clears its ready flag. `lastNumber` is the frame number of the getter's previous
/// delivery, and receives this one's. False: no frame in time (logged unless the time-out is 0), or clean-up
/// woke a getter of a camera that never published.
bool deliverFrame(imageAcquisition& camera, FrameKind kind, std::uint8_t* buffer, Ombrix::metadata* md,
                  int timeoutMs, std::uint64_t& lastNumber, int handle, const LogContext& context);
