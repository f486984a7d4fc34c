#include "processing/process.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "core/settings.h"
#include "support/LogCapture.h"
#include "support/allocationCounter.h"
#include "support/workingFolder.h"

namespace {

using Levels = std::vector<std::uint16_t>;

/// A camera of 4 x 2 pixels whose frames the test writes.
class Process : public testing::Test {
 protected:
  Process() {
    settings::create(0, nullptr);
    auto& data = camera.processing;
    data.allocate(4, 2);
    // The stages that blend neighbours and frames have tests of their own.
    data.output.temporalFiltering = 0.0f;
    data.output.spatialFiltering = false;
    data.destriping.columnDestripingPasses = data.destriping.rowDestripingPasses = 0;
    data.mapping.mappingMode = 1;
  }
  ~Process() override { settings::release(); }

  /// Runs one frame; levels are repeated until the picture is full.
  bool feed(const Levels& levels, std::uint64_t number, bool fromFilledSlot = true) {
    auto& raw = camera.processing.rawImage;
    for (std::size_t i = 0; i < raw.pixelCount(); ++i) raw.data[i] = levels[i % levels.size()];
    camera.delivered.number = number;
    camera.delivered.fromFilledSlot = fromFilledSlot;
    FairLock lock(frameMutex);
    return process(&camera);
  }
  static Levels pixels(const image<unsigned short>& picture) {
    return {picture.data, picture.data + picture.pixelCount()};
  }
  Levels output() const { return pixels(camera.processing.outputImage); }

  imageAcquisition camera{"test", false};
  FrameStatistics& stats = camera.processing.statistics;
  MappingState& mapping = camera.processing.mapping;
};

TEST_F(Process, WithoutAnImageSaysSo) {
  LogCapture log;
  camera.processing.release();
  FairLock lock(frameMutex);
  EXPECT_FALSE(process(&camera));
  EXPECT_FALSE(process(nullptr));
  EXPECT_EQ(log.count("process: acquisition image is NULL"), 2u);
}

TEST_F(Process, TheSameFrameNumberChangesNothing) {
  ASSERT_TRUE(feed({10, 20}, 7));
  const Levels first = output();
  EXPECT_FALSE(feed({30, 90}, 7));
  EXPECT_EQ(output(), first);
  EXPECT_EQ(pixels(camera.processing.rawImage)[1], 90);
  EXPECT_EQ(stats.statsMax, 20);
  EXPECT_TRUE(feed({30, 90}, 3));  // the stream was started again
  EXPECT_EQ(camera.processing.lastProcessedFrame, 3u);
}

// Levels of the first frame run from 1000 to 1255 with mean 1108; the second one is warmer by 100. Running
// values then are 1010, 1118 and 1265: the shift of 90 is limited to 50, and a mapped level counts 257. Any
// two of copy, statistics, compensation, mapping and output in another order give other numbers.
TEST_F(Process, StagesRunInOrder) {
  const Levels cold{1000, 1001, 1010, 1050, 1100, 1200, 1254, 1255};
  Levels warm = cold;
  for (auto& level : warm) level = static_cast<std::uint16_t>(level + 100);
  mapping.levelCompensation = true;
  ASSERT_TRUE(feed(cold, 1));
  EXPECT_EQ(output(), (Levels{0, 257, 2570, 12850, 25700, 51400, 65278, 65535}));
  EXPECT_EQ(mapping.shownLow, 1000);
  EXPECT_EQ(mapping.shownHigh, 1255);
  ASSERT_TRUE(feed(warm, 2));

  EXPECT_EQ(pixels(camera.processing.correctedCopy), warm);
  EXPECT_EQ(stats.statsMin, 1010);
  EXPECT_EQ(stats.statsMean, 1118);
  EXPECT_EQ(stats.statsMax, 1265);
  EXPECT_EQ(stats.frameMean, 1208);
  EXPECT_EQ(stats.histogram[1355], 1u);
  EXPECT_EQ(stats.histogram[1405], 0u);
  EXPECT_EQ(stats.minPosition, (PixelPosition{0, 0}));
  EXPECT_EQ(stats.maxPosition, (PixelPosition{3, 1}));
  EXPECT_EQ(output(), (Levels{35980, 36237, 38550, 48830, 61680, 65535, 65535, 65535}));
  EXPECT_EQ(mapping.colorCounts[65535], 3u);
  EXPECT_EQ(mapping.colorCounts[35981], 0u);
  EXPECT_EQ(mapping.valueTable()[35981], 1u);
}

// What the corrections make of a repaired pixel is repaired again: 1000 - 400 + 1000 here.
TEST_F(Process, DefectsAreRepairedAfterTheCorrections) {
  auto& data = camera.processing;
  data.defects.defectivePixelsCorrection = true;
  data.defects.list = {{1, 0}};
  data.manual.sums.allocate(4, 2);
  std::fill_n(data.manual.sums.data, 8, 1000u * 8);
  data.manual.sums.data[1] = 400u * 8;
  data.manual.frames = 8;
  data.manual.mean = 1000;
  data.flatField.flatFieldCorrection = true;
  ASSERT_TRUE(feed({1000, 60000, 1000, 1000, 1000, 1000, 1000, 1000}, 1));
  EXPECT_EQ(pixels(data.correctedCopy), Levels(8, 1000));
}

TEST_F(Process, LevelCompensationIsGated) {
  struct Gate {
    bool on, calibrating, shutterRun;
    std::uint16_t firstLevel;
  };
  // Frame mean 300 against 210: a shift of 50 where the gate is open.
  for (const Gate gate : {Gate{true, false, false, 350}, Gate{false, false, false, 300},
                          Gate{true, true, false, 300}, Gate{true, false, true, 300}}) {
    camera.processing.allocate(4, 2);
    mapping.mappingMode = 0;
    mapping.levelCompensation = gate.on;
    camera.processing.calibration.ffcCalibrating = gate.calibrating;
    camera.processing.calibration.shutterFFCRunning = gate.shutterRun;
    ASSERT_TRUE(feed({200}, 1));
    ASSERT_TRUE(feed({300}, 2));
    EXPECT_EQ(output()[0], gate.firstLevel);
    // A cooler frame is shifted down.
    ASSERT_TRUE(feed({100}, 3));
    EXPECT_EQ(output()[0], gate.firstLevel == 350 ? 50 : 100);
  }
}

TEST_F(Process, StatisticsAreSmoothed) {
  EXPECT_EQ(stats.statsMeanF, -1.0f);
  ASSERT_TRUE(feed({100, 200}, 1));
  EXPECT_EQ(stats.statsMinF, 100.0f);
  // 0.9 * 100 + 0.1 * 104 = 100.4; 0.9 * 150 + 0.1 * 217 = 156.7; 0.9 * 200 + 0.1 * 330 = 213.
  ASSERT_TRUE(feed({104, 330}, 2));
  EXPECT_EQ(stats.statsMin, 100);
  EXPECT_EQ(stats.statsMean, 157);
  EXPECT_EQ(stats.statsMax, 213);
  EXPECT_EQ(stats.frameMean, 217);
  EXPECT_NEAR(stats.statsMinF, 100.4f, 1e-4f);
  // 0.9 * 100.4 + 0.1 * 104 = 100.76: the running value is kept in fractions.
  ASSERT_TRUE(feed({104, 330}, 3));
  EXPECT_EQ(stats.statsMin, 101);

  stats.statsSmoothing = 0.0f;
  ASSERT_TRUE(feed({5, 8}, 4));
  EXPECT_EQ(stats.statsMin, 5);
  EXPECT_EQ(stats.statsMean, 6);  // 6.5, truncated before smoothing
  EXPECT_EQ(stats.statsMax, 8);
  ASSERT_TRUE(feed({0}, 5));
  stats.statsSmoothing = 0.9f;
  ASSERT_TRUE(feed({1000}, 6));
  EXPECT_EQ(stats.statsMin, 100);  // a running value of 0 is one like any other
  stats.statsMaxF = -1.0f;         // the marker restarts one value alone
  ASSERT_TRUE(feed({100, 2000}, 7));
  EXPECT_EQ(stats.statsMax, 2000);
  EXPECT_EQ(stats.statsMin, 100);
}

TEST_F(Process, TheRingsInitialZerosSeedNothing) {
  ASSERT_TRUE(feed({0}, 1, false));
  EXPECT_EQ(stats.statsMinF, -1.0f);
  EXPECT_EQ(stats.statsMeanF, -1.0f);
  EXPECT_EQ(stats.statsMaxF, -1.0f);
  EXPECT_EQ(stats.histogram[0], 8u);

  ASSERT_TRUE(feed({1000, 2000}, 2));
  EXPECT_EQ(stats.statsMin, 1000);
  ASSERT_TRUE(feed({0}, 3, false));
  EXPECT_EQ(stats.statsMean, 0);
  EXPECT_EQ(stats.statsMeanF, 1500.0f);
  ASSERT_TRUE(feed({0}, 4));  // the same picture from a slot that was filled
  EXPECT_EQ(stats.statsMean, 1350);
}

TEST_F(Process, MappingModes) {
  const Levels levels{0, 3, 10, 65535};
  const struct {
    int mode;
    std::uint16_t low, high;
    Levels expected;
    bool counted;
  } cases[] = {
      {0, 5, 10, {0, 3, 10, 65535}, true},
      {1, 5, 10, {0, 3, 10, 65535}, true},
      {2, 5, 10, {0, 0, 65535, 65535}, true},
      {2, 10, 5, {0, 3, 10, 65535}, false},
      {2, 10, 10, {65535, 65535, 65535, 65535}, true},
      {5, 5, 10, {0, 3, 10, 65535}, false},
      {-1, 5, 10, {0, 3, 10, 65535}, false},
  };
  std::uint64_t number = 0;
  for (const auto& c : cases) {
    mapping.mappingMode = c.mode;
    mapping.mappingLow = c.low;
    mapping.mappingHigh = c.high;
    mapping.colorCounts.assign(kLevels, 77);
    mapping.shownLow = mapping.shownHigh = 77;
    ASSERT_TRUE(feed(levels, ++number));
    Levels both = c.expected;
    both.insert(both.end(), c.expected.begin(), c.expected.end());
    EXPECT_EQ(output(), both) << "mode " << c.mode << " from " << c.low;
    EXPECT_EQ(mapping.colorCounts[20000], c.counted ? 0u : 77u);
    EXPECT_EQ(mapping.shownLow, !c.counted ? 77 : c.mode == 2 ? c.low : 0) << c.mode;
    EXPECT_EQ(mapping.shownHigh, !c.counted ? 77 : c.mode == 2 ? c.high : 65535) << c.mode;
    const std::uint32_t before = c.expected[0] == 65535 ? 0u : c.expected[1] == 0 ? 4u : 2u;
    EXPECT_EQ(mapping.valueTable()[20000], c.counted ? before : 77u);
  }
}

TEST_F(Process, GapsAreReportedWithinADump) {
  const struct {
    bool setting, flag;
    std::uint64_t number;
    const char* message;
  } frames[] = {
      {true, true, 5, nullptr},
      {true, true, 6, nullptr},
      {true, true, 8, "Missed frame (6>8)"},
      {true, false, 11, nullptr},
      {true, true, 20, nullptr},
      {true, true, 21, nullptr},
      {true, true, 25, "Missed frame (21>25)"},
      {false, true, 30, nullptr},
      {false, true, 40, nullptr},
      {true, true, 50, nullptr},
  };
  const WorkingFolder folder;  // what is dumped lands below it
  LogCapture log;
  // Flags cannot be switched off again by a parameter, so the record is made anew for each frame.
  for (const auto& f : frames) {
    settings::release();
    settings::create(0, nullptr);
    if (f.setting) settings::inst()->parseParam("tiffFrameDump");
    camera.dumpFrames = f.flag;
    log.clear();
    ASSERT_TRUE(feed({1, 2}, f.number));
    EXPECT_EQ(log.count("Missed frame"), f.message ? 1u : 0u) << f.number;
    EXPECT_TRUE(f.message == nullptr || log.contains(f.message)) << f.number;
    EXPECT_EQ(camera.processing.lastProcessedFrame, f.number);
    EXPECT_EQ(camera.processing.dump.writerState, FrameDump::writerIdle) << "written before the frame is out";
  }
  EXPECT_EQ(camera.processing.dump.tiffDumpIndex, 7u);
  camera.processing.allocate(4, 2);  // another stream
  log.clear();
  ASSERT_TRUE(feed({1, 2}, 70));
  EXPECT_EQ(log.count("Missed frame"), 0u) << log.text();
}

TEST_F(Process, ShowsTheRawRangeOfTheRepairedFrameWhenAsked) {
  const LogCapture log(logger::verbosityWarnings);
  camera.processing.defects.defectivePixelsCorrection = true;
  camera.processing.defects.list = {{1, 0}};
  const Levels levels{300, 9, 200, 250, 260, 270, 280, 310};
  ASSERT_TRUE(feed(levels, 1));
  EXPECT_TRUE(log.lines().empty()) << log.text();
  ASSERT_TRUE(settings::inst()->parseParam("printAcqRawMinMax"));
  ASSERT_TRUE(feed(levels, 2));
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_TRUE(log.contains("200 310")) << log.text();
}

TEST_F(Process, TheTestPatternReplacesAllThatCameBefore) {
  ASSERT_TRUE(settings::inst()->parseParam("testPattern"));
  ASSERT_TRUE(settings::inst()->parseParam("splitDemo"));
  ASSERT_TRUE(feed({300, 100, 200}, 66));  // 66 * 1024 is 2048 beyond 65536
  EXPECT_EQ(output(), (Levels{2048, 2048, 2048, 2048, 2048, 2049, 2050, 2051}));
  EXPECT_EQ(pixels(camera.processing.splitImage), (Levels{65535, 0, 32767, 65535, 0, 32767, 65535, 0}));
}

/// Switches every stage on.
void useEveryStage(processData<unsigned short>& data, std::uint16_t width, std::uint16_t height) {
  data.allocate(width, height);
  data.defects.defectivePixelsCorrection = true;
  for (int i = 0; i < 2000; ++i) data.defects.list.emplace_back(i % width, i / width);
  data.flatField.shutterlessCorrection = true;
  data.radiometry.radiometricCorrection = true;
  data.radiometry.thermographicTable.assign(kLevels, 5000);
  data.destriping.columnDestripingPasses = data.destriping.rowDestripingPasses = 2;
  data.mapping.levelCompensation = true;
  data.mapping.mappingMode = 3;
  data.output.temporalFiltering = 0.5f;
  data.output.zoomFactor = 1.5f;
  data.output.spatialFiltering = true;
}

// A pass over 307,200 pixels takes more than a microsecond on any machine, and times are truncated: a stage
// that is timed twice, or whose time starts too early, makes the sum exceed the whole.
TEST_F(Process, StagesAreTimedWhileProfiling) {
  StageTimes& times = camera.processing.stageTimes;
  float StageTimes::*const stages[] = {
      &StageTimes::flatFieldMs,         &StageTimes::columnDestripingMs, &StageTimes::rowDestripingMs,
      &StageTimes::thermographicMs,     &StageTimes::defectivePixelsMs,  &StageTimes::statisticsMs,
      &StageTimes::levelCompensationMs, &StageTimes::gainControlMs,      &StageTimes::temporalFilterMs,
      &StageTimes::resamplingMs,        &StageTimes::filteringMs,
  };
  useEveryStage(camera.processing, 640, 480);
  times.processingMs = 0.0f;
  for (const auto& stage : stages) times.*stage = -1.0f;
  ASSERT_TRUE(feed({5000, 5020}, 1));
  EXPECT_GT(times.processingMs, 0.0f);
  for (const auto& stage : stages) EXPECT_EQ(times.*stage, -1.0f) << "stage " << &stage - stages;

  ASSERT_TRUE(settings::inst()->parseParam("profiling"));
  ASSERT_TRUE(feed({5200, 5220}, 2));
  double sum = 0.0;
  for (const auto& stage : stages) {
    EXPECT_GT(times.*stage, 0.0f) << "stage " << &stage - stages;
    sum += static_cast<double>(times.*stage);
  }
  EXPECT_LE(sum, static_cast<double>(times.processingMs) + 1e-3);
}

#if !OMBRIX_SANITIZED
TEST_F(Process, FramesAllocateNothing) {
  const LogCapture quiet(logger::verbosityErrors);
  useEveryStage(camera.processing, 160, 120);
  camera.processing.output.rotationDegrees = 30.0f;
  std::uint64_t number = 0;
  const Levels levels{5000, 5020, 5040};
  for (const bool withDefects : {true, false}) {
    if (!withDefects) {  // a map that marks none
      camera.processing.defects.list.clear();
      camera.processing.defects.defectNeighbourTable = {};
    }
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(feed(levels, ++number));
    const std::uint64_t before = allocationCount();
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(feed(levels, ++number));
    EXPECT_EQ(allocationCount(), before) << withDefects;
  }
}
#endif

}  // namespace
