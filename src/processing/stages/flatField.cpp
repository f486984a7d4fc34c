#include "processing/stages/stages.h"

// No table is applied yet, so these stages judge their gates and leave the picture as it is.

void applyFlatField(FrameContext& frame) {
  if (!frame.data.flatField.shutterlessCorrection) return;
  // There is no table or polynomial to apply yet.
}

void correctTemperatures(FrameContext& frame) {
  if (!frame.data.radiometry.radiometricCorrection || !frame.data.flatField.shutterlessCorrection) return;
  // No thermographic table is loaded yet.
}
