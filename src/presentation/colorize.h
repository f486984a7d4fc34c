#pragma once

#include "core/frameMutex.h"

class imageAcquisition;

/// Paints the camera's output image into its colour image through the camera's palette and draws the
/// overlays. a, b: the width and height that overlays are laid out for. False, with nothing painted, when no
/// preset is selected yet or the two images differ in size. Runs on the camera's processing task, which holds
/// the frame mutex; takes the colour mutex for the mapping only.
bool colorize(imageAcquisition* acquisition, unsigned short a, unsigned short b) REQUIRES(frameMutex);
