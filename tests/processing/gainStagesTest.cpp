#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "core/settings.h"
#include "processing/kernels/linearMapping.h"
#include "processing/kernels/targetMeasurement.h"
#include "processing/stages/stages.h"

namespace {

using Levels = std::vector<std::uint16_t>;

/// The stages from statistics to the measurement of the centre, without those before and after them.
class GainStages : public testing::Test {
 protected:
  GainStages() { settings::create(0, nullptr); }
  ~GainStages() override { settings::release(); }

  /// Of a frame that begins a stream, or follows the one before.
  Levels map(const Levels& levels, std::int32_t mode, bool follows = false) {
    auto& data = camera.processing;
    if (!follows) data.allocate(static_cast<std::uint16_t>(levels.size()), 1);
    std::copy(levels.begin(), levels.end(), data.rawImage.data);
    mapping.mappingMode = mode;
    const FairLock lock(frameMutex);
    FrameContext frame(camera);
    measureStatistics(frame);
    compensateLevel(frame);
    mapLevels(frame);
    return {data.rawImage.data, data.rawImage.data + levels.size()};
  }
  void makeRadiometric(int mode) {
    auto& flatField = camera.processing.flatField;
    flatField.shutterlessCorrection = flatField.twoTableFFC = true;
    flatField.ffcMode = mode;
  }

  imageAcquisition camera{"test", false};
  MappingState& mapping = camera.processing.mapping;
};

TEST_F(GainStages, EqualisationIsTheDefaultAndKnowsWhatLevelsMean) {
  EXPECT_EQ(mapping.mappingMode, 3);
  // A grey level of 257 per 25 mK: 205 where a count is worth 20 mK, 41 at 4 mK per level.
  EXPECT_EQ(map({5000, 5001}, 3), (Levels{32665, 32870}));
  makeRadiometric(0);
  EXPECT_EQ(map({5000, 5001}, 3), (Levels{32665, 32870}));
  for (const int mode : {1, 2}) {
    makeRadiometric(mode);
    EXPECT_EQ(map({5000, 5001}, 3), (Levels{32747, 32788}));
  }
  camera.processing.radiometry.rangeSpanK = 0.001f;
  EXPECT_EQ(map({5000, 5001}, 3), (Levels{32767, 32768}));
  EXPECT_EQ(mapping.shownLow, 5000);
  EXPECT_EQ(mapping.shownHigh, 5001);
}

// One level stands for 4 mK, so a span of 255 gives 4 mK per grey level, and 20.03 - 4 widens by 160.3.
TEST_F(GainStages, NarrowWindowIsWidenedLinearly) {
  makeRadiometric(1);
  mapping.minMilliKelvinPerLevel = 20.03f;
  EXPECT_EQ(map({1000, 1255, 1000}, 4), (Levels{18317, 47330, 18317}));  // 839 to 1415
  EXPECT_EQ(map({5, 100}, 4), (Levels{1149, 22994}));                    // -180 to 285, limited
  EXPECT_EQ(map({65500, 65530}, 4), (Levels{55605, 64116}));             // 65304 to 65726, limited
  EXPECT_EQ(mapping.colorCounts[64116], 1u);
  EXPECT_EQ(mapping.valueTable()[64115], 1u);
  EXPECT_EQ(mapping.contrastTable[55604], 0.0f);
}

TEST_F(GainStages, WiderWindowsAreEqualisedByDegrees) {
  makeRadiometric(2);
  const auto scene = [](std::uint16_t span) {
    return Levels{1000, 1010, 1020, 1030, 1040, 1050, 1060, static_cast<std::uint16_t>(1000 + span)};
  };
  const struct {
    std::uint16_t span;
    float least, most, weight;
  } cases[] = {
      {2550, 20.0f, 60.0f, 0.5f},  // 40 mK per grey level
      {2550, 30.0f, 70.0f, 0.25f},
      {3900, 20.0f, 60.0f, 1.0f},   // above the band
      {2550, 50.0f, 20.0f, -1.0f},  // crossed limits: below the lower one counts first
      {2550, std::numeric_limits<float>::quiet_NaN(), 30.0f, 1.0f},
  };
  for (const auto& c : cases) {
    mapping.minMilliKelvinPerLevel = c.least;
    mapping.maxMilliKelvinPerLevel = c.most;
    mapping.mappingParameter = 0.75f;
    const Levels window = map(scene(c.span), 4);
    const float contrast = mapping.contrastTable[window[0]];
    if (c.weight < 0.0f) {
      EXPECT_NEAR(window[1] - window[0], 655350.0 / 2750.0, 1.0);
      continue;
    }
    mapping.mappingParameter = c.weight;
    const Levels equalised = map(scene(c.span), 3);
    for (std::size_t i = 0; i < window.size(); ++i) EXPECT_NEAR(window[i], equalised[i], 1) << c.weight;
    EXPECT_EQ(contrast, 0.125f);  // one pixel of eight: clipped by 0.75, not by the weight
  }
}

// A running mean between the two scenes shifts the warm one up and the cold one down between histogram and
// mapping, by 50 levels, over the ends of the scale.
TEST_F(GainStages, CountsAndTablesDescribeTheOutput) {
  const Levels cold{0, 20, 30, 900, 1000, 2000, 65535}, warm{3100, 3200, 3200, 4100, 5300, 65500, 65535};
  std::vector<std::uint32_t> expected(kLevels);
  mapping.levelCompensation = true;
  camera.delivered.fromFilledSlot = true;
  map(cold, 3);
  mapping.mappingLow = 1000;
  mapping.mappingHigh = 5000;
  for (const auto& [levels, mode] : {std::pair{warm, 3},
                                     {warm, 4},
                                     {cold, 3},
                                     {cold, 4},
                                     {warm, 0},
                                     {cold, 0},
                                     {warm, 1},
                                     {cold, 1},
                                     {warm, 2},
                                     {cold, 2}}) {
    const Levels out = map(levels, mode, true);
    ASSERT_EQ(mapping.levelShift, levels == warm ? 50 : -50);
    expected.assign(kLevels, 0);
    for (const std::uint16_t level : out) ++expected[level];
    EXPECT_EQ(mapping.colorCounts, expected) << mode;
    kernels::fillGaps(ConstLevelCounts{expected}, LevelCounts{expected});
    EXPECT_EQ(mapping.valueTable(), expected) << mode;
    EXPECT_NEAR(mapping.contrastTable[65535], 1.0f, 1e-5f);
  }
}

TEST(Target, IsReadAsTheTurnedPictureShowsIt) {
  // Levels are 100 * row + column. Clockwise by 90 degrees the picture's lower left corner comes to the top.
  // With 21 columns a quarter turn looks between pixels: the left or upper one counts.
  const struct {
    std::uint16_t width;
    float degrees, first, second, last;
  } cases[] = {{20, 0.0f, 305, 306, 1113},   {20, 90.0f, 1205, 1105, 413}, {20, 180.0f, 1214, 1213, 406},
               {20, 270.0f, 314, 414, 1106}, {20, 45.0f, 0, 0, 0},         {20, 360.0f, 0, 0, 0},
               {21, 90.0f, 1205, 1105, 413}, {21, 270.0f, 214, 314, 1006}};
  for (const auto& c : cases) {
    image<unsigned short> picture(c.width, 16);
    for (std::uint16_t i = 0; i < picture.pixelCount(); ++i)
      picture.data[i] = static_cast<std::uint16_t>(i / c.width * 100 + i % c.width);
    const auto levels = kernels::readTarget(picture.view(), c.degrees);
    EXPECT_EQ(levels[0], c.first) << c.degrees;
    EXPECT_EQ(levels[1], c.second) << c.degrees;
    EXPECT_EQ(levels[80], c.last) << c.degrees;
  }
}

TEST(Target, AveragesSixteenFrames) {
  TargetMeasurement target;
  target.temperatureHistory.fill(233.15f);
  target.noiseHistory.fill(-1.0f);
  kernels::averageTarget({300.0f, 0.5f}, 233.15f, target);
  EXPECT_EQ(target.targetTemperatureK, 300.0f);
  EXPECT_EQ(target.targetNoiseK, 0.5f);
  for (int i = 0; i < 15; ++i) kernels::averageTarget({316.0f, 0.25f}, 233.15f, target);
  EXPECT_EQ(target.targetTemperatureK, 315.0f);  // 300 is the oldest of sixteen
  EXPECT_EQ(target.temperatureHistory[15], 300.0f);
  EXPECT_EQ(target.targetNoiseK, 0.265625f);
  kernels::averageTarget({316.0f, 0.25f}, 233.15f, target);
  EXPECT_EQ(target.targetTemperatureK, 316.0f);
  // A reading at the reset value restarts the one history, not the other.
  kernels::averageTarget({233.15f, 0.25f}, 233.15f, target);
  kernels::averageTarget({310.0f, 0.75f}, 233.15f, target);
  EXPECT_EQ(target.targetTemperatureK, 310.0f);
  EXPECT_EQ(target.targetNoiseK, 0.28125f);
}

TEST_F(GainStages, TargetIsMeasuredWhenShownAndNotOnTheRingsZeros) {
  auto& data = camera.processing;
  data.allocate(12, 12);
  std::fill_n(data.correctedCopy.data, 144, std::uint16_t{16000});
  const auto measure = [&](bool filled) {
    camera.delivered.fromFilledSlot = filled;
    const FairLock lock(frameMutex);
    FrameContext frame(camera);
    measureTarget(frame);
  };
  measure(true);
  EXPECT_EQ(data.target.noiseHistory[0], -1.0f);
  settings::inst()->parseParam("displayTarget");
  measure(false);
  EXPECT_EQ(data.target.noiseHistory[0], -1.0f);
  measure(true);
  EXPECT_NEAR(data.target.targetTemperatureK, 297.15f, 0.001f);
  EXPECT_GE(data.target.noiseHistory[0], 0.0f);
}

}  // namespace
