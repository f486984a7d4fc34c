#include "processing/stages/stages.h"

// Stripes are neither estimated nor removed yet.

void removeColumnStripes(FrameContext& frame) {
  if (frame.calibrating() || frame.data.destriping.columnDestripingPasses <= 0) return;
}

void removeRowStripes(FrameContext& frame) {
  if (frame.calibrating() || frame.data.destriping.rowDestripingPasses <= 0) return;
}
