#include <gtest/gtest.h>

#include <algorithm>

#include "support/SdkRig.h"
#include "support/v4l2/FakeKernel.h"

TEST(V4L2Output, ViewersOfOthersGetEachColourFrame) {
  const auto kernel = std::make_shared<FakeKernel>();
  FakeNode& node = kernel->addNode(9, "output");
  node.capabilities = V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_STREAMING;
  v4l2::setSystemCallsForTesting(kernel);
  {
    SdkRig rig("marlow3;scene=coded;step=on");
    rig.sdk->parseCoreParameter("v4l2Loopback=/dev/video9");
    Ombrix camera(0);
    EXPECT_TRUE(rig.log.contains("Initializing v4l2 loopback (/dev/video9, 320x240, V4L2_PIX_FMT_RGB32)"));
    TakenFrame frame(camera);
    std::vector<std::vector<rgb_24b>> taken;
    for (int i = 0; i < 6; ++i) {
      ASSERT_EQ(rig.platform->pump(0, 1), 1u);
      ASSERT_TRUE(frame.takeColor(camera, 20000));
      taken.push_back(frame.colors);
    }
    rig.sdk.reset();
    ASSERT_EQ(kernel->shown.size(), taken.size());
    for (std::size_t i = 0; i < taken.size(); ++i) {
      const auto& bytes = kernel->shown[i];
      ASSERT_EQ(bytes.size(), taken[i].size() * 4);
      for (std::size_t pixel = 0; pixel < taken[i].size(); ++pixel) {
        const rgb_24b shown{bytes[pixel * 4 + 1], bytes[pixel * 4 + 2], bytes[pixel * 4 + 3]};
        ASSERT_EQ(shown, taken[i][pixel]) << "frame " << i << " pixel " << pixel;
      }
    }
  }
  v4l2::setSystemCallsForTesting(nullptr);
  EXPECT_EQ(kernel->openDescriptors(), 0u);
}
