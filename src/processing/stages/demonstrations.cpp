#include "processing/kernels/demonstrations.h"

#include "processing/stages/stages.h"

void showDemonstrations(FrameContext& frame) {
  auto& data = frame.data;
  if (frame.options.splitDemo && !data.splitImage.empty()) {
    kernels::showLeftHalf(data.splitImage.view(), data.outputImage.view());
  }
  if (frame.options.testPattern) kernels::drawTestPattern(data.outputImage.view(), frame.number);
}
