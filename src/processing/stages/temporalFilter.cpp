#include "processing/runBands.h"
#include "processing/splitCorrections.h"
#include "processing/stages/stages.h"

void filterTemporally(FrameContext& frame) {
  OutputState& output = frame.data.output;
  image<unsigned short>& state = frame.data.temporalState;
  constexpr std::uint64_t kFirstOfStream = 1;
  // Whatever the switches say: an average of an earlier stream ends here.
  if (frame.number == kFirstOfStream) output.temporalStateValid = false;
  if (output.temporalFiltering == 0.0f || frame.calibrating() || frame.shutterRun()) return;
  // The ring's initial zeros would shine through for seconds.
  if (!frame.fromFilledSlot || state.pixelCount() != frame.working->pixelCount()) return;
  if (!output.temporalStateValid) {
    // An average of a frame with itself would lose a level here and there to truncation.
    copyImage(*frame.working, state);
    output.temporalStateValid = true;
    return;
  }
  EWMA(*frame.working, state, output.temporalFiltering, bandTaskCountOf(state.pixelCount()));
}
