#include "processing/stages/stages.h"

// No calibration file is read and no table is made yet, so these stages judge their gates and leave the
// picture as it is.

void triggerCalibration(FrameContext& frame) {
  if (!frame.data.calibration.autoFFC) return;
  // The sensor temperature is not watched yet: no calibration starts by itself.
}

void accumulateCalibration(FrameContext& frame) {
  if (!frame.calibrating()) return;
  // Frames are not summed yet; nothing sets the calibrating state either.
}

void refreshFlatField(FrameContext& frame) {
  const auto& flatField = frame.data.flatField;
  if (!flatField.twoTableFFC || !flatField.shutterlessCorrection) return;
  // There are no tables to choose from yet.
}

void applyManualFlatField(FrameContext& frame) {
  if (!frame.data.flatField.flatFieldCorrection && !frame.shutterRun()) return;
  // There is no manual table yet, and no run that would make one.
}
