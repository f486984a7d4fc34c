#pragma once

#include "core/frameMutex.h"
#include "presentation/overlays/OverlayFrame.h"

// The overlays, one by one. None allocates; each clips, whatever the size of the picture.
namespace overlays {

/// Four black strokes around the picture's centre, which they leave free.
void drawCentreCross(const OverlayFrame& frame);

/// At the lower right: the counts of the output levels as 128 lines that start at the right edge, the lowest
/// levels at the bottom; in the modes with a contrast table its curve; beside its ends what they stand for.
void drawHistogramPanel(const OverlayFrame& frame);

/// Along the top: the palette from the lowest level to the highest, with what they stand for.
void drawColorBar(const OverlayFrame& frame);

/// A blue box around the first coldest pixel, a red one around the first warmest, and their temperatures.
void drawSpots(const OverlayFrame& frame);
/// "min x y" and "max x y" of the frame on standard output.
void printSpots(const OverlayFrame& frame);

/// Which lines are shown; read once, since settings change at any time.
struct InformationLines {
  bool serialNumber = false;
  bool target = false;
  bool size = false;
  bool sensorTemperature = false;
  bool rate = false;
  bool calibration = false;  ///< while one runs
};

/// From the lower left upwards.
void drawInformationLines(const OverlayFrame& frame, const InformationLines& shown) REQUIRES(frameMutex);

}  // namespace overlays
