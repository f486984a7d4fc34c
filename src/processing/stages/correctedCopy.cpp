#include "processing/stages/stages.h"

void keepCorrectedCopy(FrameContext& frame) { copyImage(*frame.working, frame.data.correctedCopy); }

void dumpFrame(FrameContext& frame) {
  if (!frame.dumping) return;
  // There is no file writer yet: a dump only watches for missed frames.
}

void finishDump(FrameContext& frame) {
  if (!frame.dumping) return;
  // No writer was started, so there is none to wait for.
}
