#include "common/format.h"
#include "core/logger.h"
#include "processing/kernels/frameMeasurement.h"
#include "processing/stages/stages.h"

void reportRawRange(FrameContext& frame) {
  if (!frame.options.printAcqRawMinMax) return;
  const auto [low, high] = kernels::levelRange(frame.data.rawImage.view());
  logger::warning(format("{:d} {:d}", low, high), LOG_HERE);
}
