#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "core/settings.h"
#include "processing/process.h"
#include "processing/splitCorrections.h"

namespace {

using Levels = std::vector<std::uint16_t>;

/// A camera of 4 x 2 pixels without gain control, averaging and filter unless a test asks for them.
class OutputStages : public testing::Test {
 protected:
  OutputStages() {
    settings::create(0, nullptr);
    settings::inst()->parseParam("processingUnits=2");
    data.allocate(4, 2);
    data.mapping.mappingMode = -1;
    output.temporalFiltering = 0.0f;
    output.spatialFiltering = false;
  }
  ~OutputStages() override { settings::release(); }

  Levels feed(const Levels& levels = ramp, bool fromFilledSlot = true) {
    std::copy(levels.begin(), levels.end(), data.rawImage.data);
    camera.delivered.number++;
    camera.delivered.fromFilledSlot = fromFilledSlot;
    FairLock lock(frameMutex);
    EXPECT_TRUE(process(&camera));
    return pixels(data.outputImage);
  }
  static Levels pixels(const image<unsigned short>& picture) {
    return {picture.data, picture.data + picture.pixelCount()};
  }

  static inline const Levels ramp{0, 100, 200, 300, 1000, 1100, 1200, 1300};
  imageAcquisition camera{"test", false};
  processData<unsigned short>& data = camera.processing;
  OutputState& output = data.output;
};

TEST_F(OutputStages, RotationReplacesTheWorkingImage) {
  const Levels turned{1300, 1200, 1100, 1000, 300, 200, 100, 0};
  output.rotationDegrees = 180.0f;
  EXPECT_EQ(feed(), turned);
  EXPECT_EQ(pixels(data.correctedCopy), ramp);
  EXPECT_EQ(data.statistics.minPosition, (PixelPosition{3, 1}));

  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float angle : {0.0f, 360.0f, -360.0f, nan, std::numeric_limits<float>::infinity()}) {
    output.rotationDegrees = angle;
    EXPECT_EQ(feed(), ramp) << angle;
    EXPECT_EQ(data.rotatedImage.empty(), std::abs(angle) != 360.0f) << "nothing is turned by " << angle;
  }
  output.rotationDegrees = 180.0f;
  ASSERT_TRUE(settings::inst()->parseParam("fineRotation"));
  EXPECT_EQ(feed(), ramp);  // turned by the viewer
}

TEST_F(OutputStages, BothZoomsAndTheSplitPicture) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float first : {1.0f, nan, -1.0f, 0.0f}) {
    output.zoomFactor = first;
    output.secondZoomFactor = 1.0f;
    EXPECT_EQ(feed(), ramp) << first;
    output.secondZoomFactor = 2.0f;
    EXPECT_EQ(feed(), (Levels{325, 375, 425, 475, 825, 875, 925, 975})) << first;
  }
  output.secondInterpolation = 0;
  EXPECT_EQ(feed(), (Levels{100, 100, 200, 200, 1100, 1100, 1200, 1200}));
  EXPECT_TRUE(data.zoomImage.empty());
  EXPECT_TRUE(data.splitImage.empty());

  // Digital zoom takes the whole part of the first factor; the plain left half has the product of both.
  ASSERT_TRUE(settings::inst()->parseParam("digitalZoom"));
  ASSERT_TRUE(settings::inst()->parseParam("splitDemo"));
  output.zoomFactor = 2.9f;
  output.secondInterpolation = 1;
  EXPECT_EQ(feed(), (Levels{100, 100, 425, 450, 1100, 1100, 925, 950}));
  EXPECT_EQ(pixels(data.zoomImage), (Levels{100, 100, 200, 200, 1100, 1100, 1200, 1200}));
  EXPECT_EQ(pixels(data.splitImage), (Levels{100, 100, 200, 200, 1100, 1100, 1200, 1200}));
  settings::inst()->splitDemo = false;
  EXPECT_EQ(feed(), (Levels{350, 375, 425, 450, 850, 875, 925, 950}));
  settings::inst()->splitDemo = true;
  output.secondZoomFactor = nan;
  EXPECT_EQ(feed(), (Levels{100, 100, 200, 200, 1100, 1100, 1200, 1200}));
  EXPECT_EQ(pixels(data.splitImage), (Levels{100, 100, 200, 200, 1100, 1100, 1200, 1200}));
  for (const float none : {0.4f, nan}) {
    output.zoomFactor = none;
    EXPECT_EQ(feed(), ramp) << none;
  }
  settings::inst()->digitalZoom = false;
  output.zoomFactor = 2.0f;
  feed();
  EXPECT_EQ(pixels(data.splitImage), (Levels{100, 100, 200, 200, 1100, 1100, 1200, 1200}));
  output.zoomFactor = 0.5f;
  EXPECT_NE(feed(), ramp) << "smaller";
}

TEST_F(OutputStages, CalibrationsSuspendTheSpatialFilter) {
  const struct {
    bool on, calibrating, shutterRun;
    std::int32_t state;
  } cases[] = {
      {true, false, false, 1}, {false, false, false, 2}, {true, true, false, 2}, {true, false, true, 2}};
  EXPECT_EQ(output.spatialFilterState, 0);
  for (const auto& c : cases) {
    output.spatialFiltering = c.on;
    data.calibration.ffcCalibrating = c.calibrating;
    data.calibration.shutterFFCRunning = c.shutterRun;
    // 363: against the noise of 64 levels that it takes for the least.
    EXPECT_EQ(feed({100, 500, 100, 100, 100, 100, 100, 100})[1], c.state == 2 ? 500 : 363);
    EXPECT_EQ(output.spatialFilterState, c.state);
  }
}

TEST_F(OutputStages, TheFilterFollowsTheSecondZoom) {
  const Levels dot{100, 500, 100, 100, 100, 100, 100, 100};
  output.secondInterpolation = 0;
  output.secondZoomFactor = 2.0f;
  const Levels zoomed = feed(dot);
  EXPECT_EQ(zoomed, (Levels{500, 500, 100, 100, 100, 100, 100, 100}));
  output.secondZoomFactor = 1.0f;
  output.spatialFiltering = true;
  const Levels expected = feed(zoomed);
  output.secondZoomFactor = 2.0f;
  EXPECT_EQ(feed(dot), expected);
}

TEST_F(OutputStages, PicturesOfOtherSizesAreNotCorrected) {
  image<unsigned short> frame(4, 4);
  std::fill_n(frame.data, 16, std::uint16_t{100});
  const image<float> fitting(4, 4);
  for (const auto& [width, height] : {std::pair{3, 4}, {4, 3}}) {
    const auto w = static_cast<std::uint16_t>(width), h = static_cast<std::uint16_t>(height);
    image<unsigned short> state(w, h);
    const image<float> other(w, h);
    EWMA(frame, state, 0.5f, 1);
    applyFFC(frame, other, fitting, 233.15f, 100.0f, 1);
    applyFFC(frame, fitting, other, 233.15f, 100.0f, 1);
    EXPECT_EQ(pixels(frame), Levels(16, 100)) << width << 'x' << height;
  }
}

TEST_F(OutputStages, TheFiltersNoiseIsSmoothed) {
  data.allocate(11, 3);
  output.spatialFiltering = true;
  Levels dot(33, 0);
  dot[16] = 720;
  feed(Levels(33, 0), false);
  EXPECT_EQ(data.resampling.noiseSigma, -1.0f);
  feed(dot);
  EXPECT_NEAR(data.resampling.noiseSigma, 133.69f, 0.01f);  // 640 * sqrt(pi / 2) / 6
  feed(Levels(33, 0));
  EXPECT_NEAR(data.resampling.noiseSigma, 120.32f, 0.01f);
  feed(Levels(33, 500), false);
  EXPECT_NEAR(data.resampling.noiseSigma, 120.32f, 0.01f);
}

}  // namespace
