// What the stored pictures cannot show: figures by hand, awkward sizes, memory, standard output.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "acquisition/imageAcquisition.h"
#include "core/settings.h"
#include "presentation/ColorPreset.h"
#include "presentation/overlays/drawOverlays.h"
#include "presentation/overlays/overlayFonts.h"
#include "presentation/overlays/texts.h"
#include "support/allocationCounter.h"

namespace {

constexpr rgb_24b kGround{200, 101, 31};
constexpr rgb_24b kDarkened{133, 67, 20};  // two thirds, cut

class Overlays : public testing::Test {
 protected:
  Overlays() {
    settings::create(0, nullptr);
    set({"processingUnits=1"});
    if (colorPresetCount() == 0) loadColorPresets();
    loadOverlayFonts(OMBRIX_SOURCE_DIR "/data");
    data.palette.select(0);
    resize(320, 240);
  }
  ~Overlays() override {
    freeOverlayFonts();
    settings::release();
  }

  void set(const std::vector<std::string>& parameters) {
    for (const auto& parameter : parameters)
      ASSERT_TRUE(settings::inst()->parseParam(parameter)) << parameter;
  }
  void setAll() {
    set({"displayTarget", "displayHistogram", "displayColorBar", "displayImageSize",
         "displaySensorTemperature", "displayMinMax", "displayFrameRate", "displaySensorSerial"});
  }
  void resize(std::uint16_t width, std::uint16_t height) {
    data.allocate(width, height);
    std::fill_n(data.colorImage.data, data.colorImage.pixelCount(), kGround);
  }
  void draw() {
    FairLock lock(frameMutex);
    drawOverlays(&camera, data.colorImage.width, data.colorImage.height);
  }
  rgb_24b at(std::uint32_t x, std::uint32_t y) { return data.colorImage.view().at(x, y); }
  bool untouched() {
    const auto pixels = data.colorImage.view().pixels();
    return std::all_of(pixels.begin(), pixels.end(), [](rgb_24b pixel) { return pixel == kGround; });
  }

  imageAcquisition camera{"data", false};
  processData<unsigned short>& data = camera.processing;
};

TEST_F(Overlays, NothingIsDrawnThatWasNotAskedFor) {
  data.calibration.ffcCalibrating = true;
  draw();
  EXPECT_TRUE(untouched());
}

TEST_F(Overlays, CrossHasItsStrokesAndNoOtherPixel) {
  set({"displayTarget"});
  draw();
  int black = 0;
  for (std::uint32_t y = 0; y < 240; ++y) {
    for (std::uint32_t x = 0; x < 320; ++x) black += at(x, y) == rgb_24b{0, 0, 0} ? 1 : 0;
  }
  EXPECT_EQ(black, 16);
  for (const std::uint32_t offset : {0u, 3u, 6u, 9u}) {  // ends of both strokes: c - 5, c - 2, c + 1, c + 4
    EXPECT_EQ(at(155 + offset, 120), (rgb_24b{0, 0, 0})) << offset;
    EXPECT_EQ(at(160, 115 + offset), (rgb_24b{0, 0, 0})) << offset;
  }
}

TEST_F(Overlays, PanelLinesAreAsLongAsTheirCounts) {
  struct Case {
    int mode;
    int first, second, last;  // pixels of lines 0, 1 and 127
  };
  // 1000, 30 and 48 counts: 42.5 * 30 / 1000 = 1.27, 42.5 * 48 / 1000 = 2.04. The manual mapping leaves the
  // end bins out: 30 and 8 counts, 42.5 * 8 / 30 = 11.3.
  const Case cases[] = {{1, 42, 1, 2}, {2, 0, 42, 11}};
  set({"displayHistogram"});
  auto& counts = data.mapping.colorCounts;
  counts[0] = 1000;
  counts[514] = 10, counts[1027] = 20;    // both ends of line 1
  counts[65278] = 8, counts[65535] = 40;  // of line 127, which is shorter
  for (const Case& test : cases) {
    resize(320, 240);
    data.mapping.mappingMode = test.mode;
    draw();
    const auto length = [&](std::uint32_t line) {
      int pixels = 0;
      for (std::uint32_t x = 276; x < 320; ++x) pixels += at(x, 239 - line) == kDarkened ? 0 : 1;
      return pixels;
    };
    SCOPED_TRACE(test.mode);
    EXPECT_EQ(length(0), test.first);
    EXPECT_EQ(length(1), test.second);
    EXPECT_EQ(length(127), test.last);
    EXPECT_EQ(length(64), 0);
    EXPECT_EQ(at(300, 239 - 128), kGround);
    EXPECT_EQ(at(275, 200), kGround);
    // Preset 0 is grey: line 1 shows level 514 + 257.
    EXPECT_EQ(at(319, 238), (rgb_24b{3, 3, 3}));
  }
}

TEST_F(Overlays, AnySizeAndAnyStateIsClipped) {
  setAll();
  set({"xShadowOffset=1e30", "yShadowOffset=-7"});
  data.statistics.minPosition = {65535, 65535};
  data.target.targetTemperatureK = 3e38f;
  data.target.noiseHistory.fill(1.0f);
  {
    FairLock lock(frameMutex);
    camera.publicationRate = -3e38f;
  }
  data.mapping.contrastTable.assign(65536, 9.0f);
  const std::pair<std::uint16_t, std::uint16_t> sizes[] = {{1, 1},    {1, 300},  {300, 1}, {17, 5},
                                                           {44, 127}, {45, 129}, {9, 9},   {0, 0}};
  for (const char* units : {"processingUnits=1", "processingUnits=7"}) {
    set({units});
    for (const auto& [width, height] : sizes) {
      for (const float zoom : {1.0f, 0.01f, 64.0f, 3e38f, -1.0f}) {
        resize(width, height);
        data.output.secondZoomFactor = zoom;
        draw();
        // Rows that are not painted are not drawn on either.
        const std::uint32_t painted = height < 7 || units[16] == '1' ? height : height / 7u * 7u;
        for (std::uint32_t y = painted; y < height; ++y)
          ASSERT_EQ(at(0, y), kGround) << width << 'x' << height;
      }
    }
  }
}

TEST_F(Overlays, WithoutFontsEverythingButTextIsDrawn) {
  setAll();
  freeOverlayFonts();
  draw();
  EXPECT_EQ(at(300, 200), kDarkened);
  EXPECT_EQ(at(157, 120), (rgb_24b{0, 0, 0}));
}

TEST_F(Overlays, PositionsArePrintedOnlyWithBothParameters) {
  data.statistics.minPosition = {3, 200};
  data.statistics.maxPosition = {319, 0};
  set({"printMinMaxPos"});
  testing::internal::CaptureStdout();
  draw();
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  set({"displayMinMax"});
  testing::internal::CaptureStdout();
  draw();
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "min 3 200\nmax 319 0\n");
}

TEST(OverlayTexts, NumbersReadAsPrintfWritesThem) {
  using overlays::Text;
  const std::pair<float, const char*> cases[] = {{0.125f, "0.12"},
                                                 {-0.001f, "-0.00"},
                                                 {36.605f, "36.60"},
                                                 {99.999f, "100.00"},
                                                 {1e10f, "10000000000.00"}};
  for (const auto& [value, expected] : cases) EXPECT_EQ(Text().fixed(value, 2).view(), expected);
  Text text;
  EXPECT_EQ((text << "#" << -1 << ' ' << std::uint64_t{18446744073709551615u}).view(),
            "#-1 18446744073709551615");
  EXPECT_EQ((TextBuffer<4>() << "abc" << 123).view(), "abc1");
}

#if !OMBRIX_SANITIZED
TEST_F(Overlays, DrawingAllocatesNothing) {
  setAll();
  camera.device.sensorTemperatureK = 300.0f;
  data.target.noiseHistory.fill(0.1f);
  draw();
  const auto before = allocationCount();
  draw();
  EXPECT_EQ(allocationCount(), before);
}
#endif

}  // namespace
