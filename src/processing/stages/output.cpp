#include "processing/stages/stages.h"

void filterTemporally(FrameContext& frame) {
  if (frame.data.output.temporalFiltering == 0.0f || frame.calibrating() || frame.shutterRun()) return;
  // Frames are not averaged yet; `temporalState` stays at zero.
}
