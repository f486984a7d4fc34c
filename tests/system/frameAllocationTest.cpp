// A frame on its way from the raw levels to the colours.

#include <gtest/gtest.h>

#include "acquisition/backends/simulated/calibrationSet.h"
#include "presentation/colorize.h"
#include "processing/process.h"
#include "support/SdkRig.h"
#include "support/allocationCounter.h"
#include "support/scratchFiles.h"
#include "support/simulatedFrames.h"

#if !OMBRIX_SANITIZED

namespace {

/// Feeds `frames` frames to everything that an opened camera does by default.
void feed(imageAcquisition& camera, int frames) REQUIRES(frameMutex) {
  image<unsigned short>& raw = camera.processing.rawImage;
  for (int frame = 0; frame < frames; ++frame) {
    const std::uint64_t number = ++camera.delivered.number;
    camera.delivered.fromFilledSlot = true;
    for (std::size_t i = 0; i < raw.pixelCount(); ++i)
      raw.data[i] = static_cast<std::uint16_t>(8000 + (i * 7 + number * 13) % 900);
    ASSERT_TRUE(process(&camera));
    ASSERT_TRUE(colorize(&camera, raw.width, raw.height));
  }
}

}  // namespace

// With two processing units and calibration files. What is made once, such as a worker's first task, may come
// at any time; an allocation per frame would come in every round.
TEST(FrameAllocation, NoneInSteadyState) {
  const ScratchFolder data;
  ASSERT_TRUE(simulation::writeCalibrationSet(specOf("marlow3"), data.path(".")));
  SdkRig rig("marlow3;step=on");
  Ombrix camera(0, data.path("."));
  ASSERT_EQ(camera.getErrorText(), "none");
  int preset = 1;
  camera.setColorPreset(preset);
  imageAcquisition& inside = SdkRig::acquisition(0);
  ASSERT_TRUE(inside.processing.flatField.shutterlessCorrection);

  const LogCapture quiet(logger::verbosityErrors);
  FairLock lock(frameMutex);
  std::uint64_t allocations = 1;
  for (int round = 0; round < 10 && allocations != 0; ++round) {
    const std::uint64_t before = allocationCount();
    feed(inside, 10);
    allocations = allocationCount() - before;
  }
  EXPECT_EQ(allocations, 0u);
}

#endif
