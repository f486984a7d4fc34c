#include "processing/stages/stages.h"

void keepCorrectedCopy(FrameContext& frame) { copyImage(*frame.working, frame.data.correctedCopy); }
