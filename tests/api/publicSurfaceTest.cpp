// Sees what an application sees: the public headers and the shared library.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <string>
#include <vector>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

namespace {

constexpr int kTimeoutMs = 10000;

/// The SDK on simulated cameras, made anew for every test.
class PublicSurface : public testing::Test {
 protected:
  PublicSurface() {
    static char backend[] = "OMBRIX_BACKEND=simulated";  // the environment keeps the texts themselves
    static char cameras[] = "OMBRIX_SIMULATION=bramble6,marlow3;scene=room;seed=7";
    putenv(backend);
    putenv(cameras);
  }
};

struct Frame {
  std::vector<std::uint8_t> bytes;
  std::vector<std::uint32_t> histogram = std::vector<std::uint32_t>(65536);
  Ombrix::metadata metadata;

  Frame(std::uint64_t width, std::uint64_t height, std::uint64_t bytesPerPixel)
      : bytes(width * height * bytesPerPixel) {
    metadata.histogramBuffer = histogram.data();
  }
  std::uint64_t counted() const {
    return std::accumulate(histogram.begin(), histogram.end(), std::uint64_t{0});
  }
};

TEST_F(PublicSurface, FindsCamerasAndKeepsTheirRegistry) {
  {
    OmbrixSDK sdk;
    ASSERT_TRUE(OmbrixSDK::mStatus);
    ASSERT_EQ(sdk.getDeviceCount(), 2);
    EXPECT_NE(sdk.getDeviceName(0).find("Bramble 6"), std::string::npos);
    EXPECT_NE(sdk.getDeviceName(1).find("Marlow 3"), std::string::npos);
    EXPECT_EQ(sdk.getDeviceName(-1), "Invalid index");
    EXPECT_EQ(sdk.getDeviceName(2), "Invalid index");
    EXPECT_FALSE(sdk.isConnected(1));
    Ombrix camera(1);
    EXPECT_TRUE(sdk.isConnected(1));
    EXPECT_FALSE(sdk.isConnected(0));
    EXPECT_EQ(camera.getErrorText(), "none");
  }
  Ombrix inert(0);  // no SDK object any more
  std::uint64_t width = 1, height = 1;
  EXPECT_FALSE(inert.getImageSize(width, height));
  EXPECT_EQ(width + height, 0u);
  EXPECT_FALSE(inert.getRawFrame(nullptr, nullptr, 0));
  EXPECT_TRUE(OmbrixSDK::mConnectedDevices.empty());
}

TEST_F(PublicSurface, DeliversFramesWithMetadataAndHistogram) {
  OmbrixSDK sdk;
  Ombrix camera(0);
  std::uint64_t width = 0, height = 0;
  ASSERT_TRUE(camera.getImageSize(width, height));
  ASSERT_EQ(width, 640u);
  ASSERT_EQ(height, 480u);
  EXPECT_EQ(camera.getDeviceFrameRate(), 60.0f);

  Frame raw(width, height, 2), colour(width, height, 3);
  std::uint64_t lastNumber = 0;
  for (int i = 0; i < 6; ++i) {
    ASSERT_TRUE(camera.getRawFrame(raw.bytes.data(), &raw.metadata, kTimeoutMs));
    EXPECT_GT(raw.metadata.frameNumber, lastNumber);
    EXPECT_EQ(raw.metadata.framesSinceLastCall, raw.metadata.frameNumber - lastNumber);
    lastNumber = raw.metadata.frameNumber;
    EXPECT_EQ(raw.counted(), width * height);
  }
  // The getters count apart.
  ASSERT_TRUE(camera.getColorFrame(colour.bytes.data(), &colour.metadata, kTimeoutMs));
  EXPECT_EQ(colour.metadata.framesSinceLastCall, colour.metadata.frameNumber);
  EXPECT_EQ(raw.metadata.serialNumber, 466001359u);
  EXPECT_EQ(camera.getSerialNumber(), "466001359");
  const auto [low, high] = std::minmax_element(colour.bytes.begin(), colour.bytes.end());
  EXPECT_LT(*low, *high) << "a picture of one colour";
}

TEST_F(PublicSurface, ASecondHandleSharesTheCamera) {
  OmbrixSDK sdk;
  Ombrix first(1);
  const Ombrix copy(first);
  Ombrix second(copy);
  int preset = 99;
  second.setColorPreset(preset);
  EXPECT_EQ(preset, 0);  // beyond the last: the first
  preset = -1;
  second.setColorPreset(preset);
  EXPECT_EQ(preset, 10);  // below the first: the last of the eleven
  EXPECT_EQ(first.getColorPreset(), 10);
  first.setMappingMode(Ombrix::mappingManual, 100.0f, 70000.0f);
  EXPECT_EQ(second.getMappingMode(), Ombrix::mappingManual);
}

TEST_F(PublicSurface, ComesUpAgainAfterItsEnd) {
  for (int run = 0; run < 3; ++run) {
    OmbrixSDK sdk(OmbrixSDK::verbosityErrors, 1);
    Ombrix camera(run % 2);
    Ombrix::metadata metadata;
    ASSERT_TRUE(camera.getRawFrame(nullptr, &metadata, kTimeoutMs)) << "run " << run;
    EXPECT_GE(metadata.frameNumber, 1u);
  }
}

}  // namespace
