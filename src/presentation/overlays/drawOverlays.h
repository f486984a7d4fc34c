#pragma once

#include "core/frameMutex.h"

class imageAcquisition;

/// Draws what the settings ask for (cross, histogram panel, labels, information lines) onto the camera's
/// colour image, laid out for a width and height of a x b. Runs on the camera's processing task, under the
/// frame mutex.
void drawOverlays(imageAcquisition* acquisition, unsigned short a, unsigned short b) REQUIRES(frameMutex);
