#include "common/format.h"
#include "core/logger.h"
#include "processing/stages/stages.h"

void noteFrameNumber(FrameContext& frame) {
  auto& data = frame.data;
  // Outside a dump nobody promises to process every frame, so only a gap between two dumped ones is a fault.
  if (frame.dumping && data.dump.lastFrameDumped && data.lastProcessedFrame != frame.number - 1) {
    // The older number stands on the left of the ">", as in "from > to".
    logger::error(format("Missed frame ({:d}>{:d})", data.lastProcessedFrame, frame.number), LOG_HERE);
  }
  data.lastProcessedFrame = frame.number;
  data.dump.lastFrameDumped = frame.dumping;
}
