#include "processing/kernels/targetMeasurement.h"

#include "processing/stages/stages.h"

void measureTarget(FrameContext& frame) {
  // The ring's initial zeros show no target.
  if (!frame.options.displayTarget || !frame.fromFilledSlot) return;
  auto& data = frame.data;
  const auto levels = kernels::readTarget(data.correctedCopy.view(), data.output.rotationDegrees);
  kernels::averageTarget(kernels::measureTarget(levels, data.radiometry), data.radiometry.rangeMinK,
                         data.target);
}
