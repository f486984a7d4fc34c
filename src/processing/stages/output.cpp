#include "processing/kernels/demonstrations.h"
#include "processing/stages/stages.h"

namespace {

void keepUnfilteredCopy(FrameContext& frame) {
  image<unsigned short>& split = frame.data.splitImage;
  // The switch may come on while frames flow; the first frame that sees it pays for the buffer.
  if (split.empty()) split.allocate(frame.data.outputImage.width, frame.data.outputImage.height);
  copyImage(*frame.working, split);
}

}  // namespace

void resampleFrame(FrameContext& frame) {
  // Only the factor 1 exists yet; every other factor copies as well.
  copyImage(*frame.working, frame.data.zoomImage);
  copyImage(frame.data.zoomImage, frame.data.outputImage);
  if (frame.options.splitDemo) keepUnfilteredCopy(frame);
}

void filterSpatially(FrameContext& frame) {
  OutputState& output = frame.data.output;
  if (!output.spatialFiltering || frame.calibrating() || frame.shutterRun()) {
    output.spatialFilterState = OutputState::spatialFilterOff;
    return;
  }
  // The output image is not filtered yet.
  output.spatialFilterState = OutputState::spatialFilterNone;
}

void showDemonstrations(FrameContext& frame) {
  auto& data = frame.data;
  if (frame.options.splitDemo && !data.splitImage.empty()) {
    kernels::showLeftHalf(data.splitImage.view(), data.outputImage.view());
  }
  if (frame.options.testPattern) kernels::drawTestPattern(data.outputImage.view(), frame.number);
}
