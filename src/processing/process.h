#pragma once

#include "core/frameMutex.h"

class imageAcquisition;

/// Turns the camera's newest raw frame (`processing.rawImage`) into the corrected, mapped 16-bit image
/// `processing.outputImage` and measures it on the way. Runs on the camera's processing task.
/// False without a current image (logged), and when the frame has been processed already (silent: callers
/// may poll); nothing changes then.
bool process(imageAcquisition* acquisition) REQUIRES(frameMutex);
