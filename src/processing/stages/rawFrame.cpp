#include "common/format.h"
#include "core/logger.h"
#include "processing/kernels/frameMeasurement.h"
#include "processing/stages/stages.h"

void repairDefects(FrameContext& frame) {
  if (!frame.data.defects.defectivePixelsCorrection || frame.calibrating()) return;
  // No pass over the defect list exists yet: listed pixels stay as the sensor gave them.
}

void reportRawRange(FrameContext& frame) {
  if (!frame.options.printAcqRawMinMax) return;
  const auto [low, high] = kernels::levelRange(frame.data.rawImage.view());
  logger::warning(format("{:d} {:d}", low, high), LOG_HERE);
}
