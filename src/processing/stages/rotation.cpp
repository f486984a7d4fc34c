#include "processing/kernels/rotation.h"

#include <cmath>

#include "processing/runBands.h"
#include "processing/stages/stages.h"

void rotateFrame(FrameContext& frame) {
  image<unsigned short>& rotated = frame.data.rotatedImage;
  const float degrees = frame.data.output.rotationDegrees;
  // With fine rotation the viewer turns the picture. An angle that is no number turns nothing.
  if (frame.options.fineRotation || degrees == 0.0f || !std::isfinite(degrees)) {
    if (!rotated.empty()) rotated.release();
    return;
  }
  // The angle may be set while frames flow; the first frame that sees it pays for the buffer.
  if (rotated.empty()) rotated.allocate(frame.levels->width, frame.levels->height);
  const ImageView<const std::uint16_t> in = frame.levels->view();
  const ImageView<std::uint16_t> out = rotated.view();
  const kernels::RotationStep step = kernels::rotationStep(double{degrees});
  const auto rotate = [&](kernels::RowBand band) { kernels::rotateImage(in, out, step, band); };
  runBands(bandTaskCountOf(out.pixelCount()), out.height, rotate, "rotateImage");
  frame.wrote(rotated);
}
