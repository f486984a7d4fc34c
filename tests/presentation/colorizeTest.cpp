#include "presentation/colorize.h"

#include <gtest/gtest.h>

#include "acquisition/imageAcquisition.h"
#include "core/settings.h"
#include "presentation/ColorPreset.h"
#include "support/LogCapture.h"

namespace {

constexpr rgb_24b kBefore{1, 2, 3};

class ColorizeTest : public testing::Test {
 protected:
  ColorizeTest() {
    if (colorPresetCount() == 0) loadColorPresets();
    settings::create(0, nullptr);
    settings::inst()->parseParam("processingUnits=4");
    camera.processing.allocate(5, 481);
    image<unsigned short>& levels = camera.processing.outputImage;
    for (std::size_t i = 0; i < levels.pixelCount(); i++)
      levels.data[i] = static_cast<unsigned short>(i * 27);
    std::fill_n(camera.processing.colorImage.data, levels.pixelCount(), kBefore);
  }
  ~ColorizeTest() override { settings::release(); }

  bool run() {
    FairLock lock(frameMutex);
    return colorize(&camera, 5, 481);
  }
  const rgb_24b* colors() const { return camera.processing.colorImage.data; }

  imageAcquisition camera{"data", true};
};

TEST_F(ColorizeTest, PaintsTheOutputImageThroughTheSelectedPreset) {
  ASSERT_TRUE(camera.processing.selectColorPreset(1));  // inverted grayscale: level v shows (65535 - v) / 256
  camera.processing.colorizeTimeMs = -1.0f;
  LogCapture log;
  EXPECT_TRUE(run());
  EXPECT_EQ(log.count("<colorize> colorize()"), 1u);
  EXPECT_GE(camera.processing.colorizeTimeMs, 0.0f);
  for (std::size_t i = 0; i < 5 * 480; i++) {
    const auto gray = static_cast<std::uint8_t>((65535 - i * 27) / 256);
    ASSERT_EQ(colors()[i], (rgb_24b{gray, gray, gray})) << i;
  }
  // Four stripes of 120 rows leave the last row alone.
  for (std::size_t i = 5 * 480; i < 5 * 481; i++) EXPECT_EQ(colors()[i], kBefore);
}

TEST_F(ColorizeTest, PaintsNothingWithoutPresetOrWithUnequalImages) {
  EXPECT_FALSE(run());
  EXPECT_EQ(colors()[0], kBefore);
  camera.processing.selectColorPreset(0);
  camera.processing.colorImage.allocate(5, 480);
  EXPECT_FALSE(run());
  camera.processing.release();
  EXPECT_FALSE(run());
}

}  // namespace
