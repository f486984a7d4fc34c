#include "processing/stages/stages.h"

void keepCorrectedCopy(FrameContext& frame) {
  // Nothing is copied: the frame stays where it is, and the stages from here on write to what was the copy of
  // the frame before.
  image<unsigned short>& copy = frame.data.correctedCopy;
  if (copy.pixelCount() != frame.working->pixelCount()) return copyImage(*frame.working, copy);
  copy.swap(*frame.working);
  frame.levels = &copy;
}

void leaveCorrectedCopy(FrameContext& frame) {
  if (frame.levels == frame.working) return;
  copyImage(*frame.levels, *frame.working);
  frame.wrote(*frame.working);
}
