// Calibration runs: their rules, the course of a shutter run, and both on the frames of a tiny camera.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>

#include "acquisition/imageAcquisition.h"
#include "calibration/ffcFile.h"
#include "core/settings.h"
#include "processing/calibrationRules.h"
#include "processing/process.h"
#include "support/LogCapture.h"
#include "support/allocationCounter.h"
#include "support/workingFolder.h"

namespace fs = std::filesystem;

namespace {

using Sequence = ShutterRunSequence;
using Phase = Sequence::Phase;

/// Frames until the run is over, each begun and summed.
int framesUntilDone(Sequence& run, int most) {
  for (int frame = 1; frame <= most; ++frame) {
    run.nextFrame();
    if (run.frameSummed()) return frame;
  }
  return -1;
}

/// A run brought into a phase.
Sequence runIn(Phase phase) {
  Sequence run;
  if (phase == Phase::idle) return run;
  run.request(3);
  if (phase == Phase::requested) return run;
  if (phase == Phase::finishing) {
    framesUntilDone(run, 3);
    return run;
  }
  run.nextFrame();
  if (phase == Phase::cancelled) run.cancel();
  return run;
}

TEST(ShutterRunSequence, EveryEventInEveryPhase) {
  const struct {
    Phase phase;
    Phase afterCancel, afterFrame, afterFinish;
    Sequence::Step step;
  } cases[] = {
      {Phase::idle, Phase::idle, Phase::idle, Phase::idle, Sequence::Step::none},
      {Phase::requested, Phase::cancelled, Phase::summing, Phase::requested, Sequence::Step::begin},
      {Phase::summing, Phase::cancelled, Phase::summing, Phase::summing, Sequence::Step::none},
      {Phase::finishing, Phase::finishing, Phase::finishing, Phase::idle, Sequence::Step::none},
      {Phase::cancelled, Phase::cancelled, Phase::idle, Phase::cancelled, Sequence::Step::giveBack},
  };
  for (const auto& c : cases) {
    const int number = static_cast<int>(c.phase);
    Sequence run = runIn(c.phase);
    ASSERT_EQ(run.phase(), c.phase);
    const std::uint32_t ended = run.runsEnded();
    EXPECT_EQ(run.cancel(), c.afterCancel != c.phase) << number;
    EXPECT_EQ(run.runsEnded(), ended + (c.afterCancel != c.phase ? 1 : 0)) << "waiters look for it";
    EXPECT_EQ(run.phase(), c.afterCancel) << number;
    run = runIn(c.phase);
    EXPECT_EQ(run.nextFrame(), c.step) << number;
    EXPECT_EQ(run.phase(), c.afterFrame) << number;
    run = runIn(c.phase);
    EXPECT_EQ(run.finish(), c.phase == Phase::finishing) << number;
    EXPECT_EQ(run.phase(), c.afterFinish) << number;
    EXPECT_EQ(run.runsEnded(), ended + (c.phase == Phase::finishing ? 1 : 0)) << number;
    run = runIn(c.phase);
    run.request(2);
    EXPECT_EQ(run.phase(), Phase::requested) << number;
    EXPECT_EQ(framesUntilDone(run, 9), 2) << "a request starts the count anew, from phase " << number;
  }
  Sequence longest;
  longest.request(65535);
  EXPECT_EQ(framesUntilDone(longest, 70000), 65535);
}

TEST(CalibrationRules, OnlyWarmingByAWholeDegreeTriggers) {
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInf = std::numeric_limits<float>::infinity();
  const struct {
    float sensorC, lastTriggerC;
    bool due;
  } cases[] = {
      {25.3f, -273.15f, true},   {25.9f, 25.3f, false},     {26.1f, 25.3f, true},
      {24.0f, 25.3f, false},     {-3.5f, -273.15f, true},   {-3.5f, -3.5f, false},
      {-3.1f, -3.5f, false},     {-2.9f, -3.5f, true},      {-0.4f, -0.9f, false},
      {0.2f, -0.4f, true},       {-9.0f, -3.5f, false},     {kNan, -273.15f, false},
      {kInf, -273.15f, false},   {-273.65f, -400.f, false}, {-40.0f, -273.15f, false},
      {-273.15f, -400.f, false},
  };
  for (const auto& c : cases) {
    calibration::TriggerView view{c.sensorC + 273.15f, 233.15f, c.lastTriggerC, true, true, false};
    if (c.sensorC == -40.0f) view.sensorK = 233.15f;  // exactly the reset value
    EXPECT_EQ(calibration::calibrationDue(view), c.due) << c.sensorC << " after " << c.lastTriggerC;
    view.realFrame = false;
    EXPECT_FALSE(calibration::calibrationDue(view));
    view.realFrame = view.runInProgress = true;
    EXPECT_FALSE(calibration::calibrationDue(view));
    view.sensorMeasured = view.runInProgress = false;
    EXPECT_FALSE(calibration::calibrationDue(view));
  }
}

TEST(CalibrationRules, WeightsAndSums) {
  const struct {
    float temperature, low, high, weight;
  } cases[] = {{25, 20, 30, 0.5f}, {19, 20, 30, 0.0f},  {31, 20, 30, 1.0f}, {26, 25, 25, 0.0f},
               {25, 30, 20, 0.0f}, {NAN, 20, 30, 0.0f}, {25, 20, NAN, 0.0f}};
  for (const auto& c : cases)
    EXPECT_EQ(calibration::flatFieldWeight(c.temperature, c.low, c.high), c.weight) << c.temperature;
  unsigned int sums[] = {0, 1, 100001, 4294967295u};
  calibration::rescaleSums(sums, 16, 24);  // 1.5 and 150001.5, rounded up
  EXPECT_EQ(sums[0], 0u);
  EXPECT_EQ(sums[1], 2u);
  EXPECT_EQ(sums[2], 150002u);
  EXPECT_EQ(sums[3], 4294967295u);
}

/// A camera of 2 x 2 pixels in a directory of its own. Frames are fed as they come out of the ring.
class CalibrationRuns : public testing::Test {
 protected:
  CalibrationRuns() {
    settings::create(0, nullptr);
    camera.device.modelName = "Toy";
    camera.device.serialNumber = 7;
    camera.device.sensorTemperatureK = 298.45f;
    camera.device.temperatureMeasured = true;
    data.allocate(2, 2);
    data.destriping.columnDestripingPasses = data.destriping.rowDestripingPasses = 0;
    std::fill_n(data.ffcAccumulator.data, 4, 320u);  // slot 0's table
  }
  ~CalibrationRuns() override { settings::release(); }

  void feed(std::uint16_t base, bool fromFilledSlot = true) {
    for (unsigned i = 0; i < 4; ++i) data.rawImage.data[i] = static_cast<std::uint16_t>(base + 10 * i);
    camera.delivered.number = ++number;
    camera.delivered.fromFilledSlot = fromFilledSlot;
    FairLock lock(frameMutex);
    ASSERT_TRUE(process(&camera));
  }
  void feedTimes(int times, std::uint16_t base) {
    for (int i = 0; i < times; ++i) feed(base);
  }
  std::vector<unsigned> slot0() {
    return {data.slot0Low().data, data.slot0Low().data + data.slot0Low().pixelCount()};
  }

  const WorkingFolder folder;
  LogCapture log;
  imageAcquisition camera{"set", false};
  processData<unsigned short>& data = camera.processing;
  std::uint64_t number = 0;
  const std::vector<unsigned> oldTable = std::vector<unsigned>(4, 320);
};

TEST_F(CalibrationRuns, AShutterRunMakesAndFilesTheManualTable) {
  data.flatField.flatFieldCorrection = true;
  camera.requestShutterRun(3);
  EXPECT_FALSE(data.flatField.flatFieldCorrection);
  feed(0, false);  // the ring's initial zeros count for nothing
  feed(100);
  feed(103);
  EXPECT_TRUE(data.calibration.shutterFFCRunning);
  EXPECT_EQ(slot0(), oldTable);
  EXPECT_EQ(data.tableFrames(), 32);
  EXPECT_EQ(data.ffcAccumulator.data[3], 130u + 133u);
  feed(106);
  EXPECT_FALSE(data.calibration.shutterFFCRunning);
  EXPECT_TRUE(data.flatField.flatFieldCorrection);
  EXPECT_EQ(slot0(), oldTable);
  EXPECT_EQ(data.calibration.ffcFramesToTake, 32);
  EXPECT_EQ(data.manual.frames, 3);
  EXPECT_EQ(data.manual.mean, 118u);  // 103, 113, 123, 133
  for (const char* name : {"set/ffc/Toy_7.ffc", "set/ffc/Toy_7_025.ffc"}) {
    image<unsigned int> table(2, 2);
    unsigned short frames = 0;
    float temperature = 0.0f;
    ASSERT_TRUE(loadFFC(&table, frames, temperature, name));
    EXPECT_EQ(frames, 3);
    EXPECT_NEAR(temperature, 25.3f, 1e-4f);
    EXPECT_EQ(table.data[0], 309u);
  }
  feed(500);  // differs from the table by a shift only: flat at 118 + 397
  for (int i = 0; i < 4; ++i) EXPECT_EQ(data.correctedCopy.data[i], 515);
}

TEST_F(CalibrationRuns, ACancelledRunPutsEverythingBack) {
  camera.shutterSilence = std::chrono::milliseconds(0);
  for (const bool begun : {false, true}) {
    data.flatField.flatFieldCorrection = true;
    const auto run = camera.requestShutterRun(40);
    if (begun) feedTimes(2, 100);
    camera.waitForShutterRun(run);  // the worker does not run, so it gives up at once
    EXPECT_FALSE(data.calibration.shutterFFCRunning);
    EXPECT_TRUE(data.flatField.flatFieldCorrection);
    feed(100);
    EXPECT_EQ(slot0(), oldTable);
    EXPECT_EQ(std::vector<unsigned>(data.ffcAccumulator.data, data.ffcAccumulator.data + 4), oldTable);
    EXPECT_EQ(data.calibration.ffcFramesToTake, 32);
    EXPECT_EQ(data.manual.frames, 0);
  }
  EXPECT_FALSE(fs::exists("set"));
}

TEST_F(CalibrationRuns, ASecondRequestRestartsTheCount) {
  camera.requestShutterRun(4);
  feedTimes(3, 100);
  camera.requestShutterRun(2);
  feed(200);
  EXPECT_TRUE(data.calibration.shutterFFCRunning);
  feed(200);
  EXPECT_FALSE(data.calibration.shutterFFCRunning);
  EXPECT_EQ(data.manual.frames, 2);
  EXPECT_EQ(data.manual.sums.data[0], 400u);
  EXPECT_EQ(slot0(), oldTable);
  EXPECT_TRUE(fs::exists("set/ffc/Toy_7_025.ffc")) << "the temperature of its own frames";
}

TEST_F(CalibrationRuns, AWaiterLeavesWithItsRunWhateverHasBegunSince) {
  camera.shutterSilence = std::chrono::milliseconds(0);  // waiting for the next run would cancel it
  const auto run = camera.requestShutterRun(1);
  feed(100);
  camera.requestShutterRun(5);
  camera.waitForShutterRun(run);
  EXPECT_TRUE(data.calibration.shutterFFCRunning);
}

TEST_F(CalibrationRuns, TheAutomaticCalibrationFilesWhatItSummed) {
  data.calibration.autoFFC = true;
  data.calibration.saveCalibrationAt50 = true;
  data.calibration.ffcFramesToTake = 0;
  feed(100);
  EXPECT_FALSE(data.flatField.shutterlessCorrection) << "none are none";
  data.calibration.ffcFramesToTake = 2;
  data.calibration.ffcFramesTaken = 1;  // of a run that was left
  feed(0, false);
  EXPECT_FALSE(data.calibration.ffcCalibrating);
  feed(100);
  EXPECT_TRUE(data.calibration.ffcCalibrating);
  EXPECT_FALSE(data.flatField.shutterlessCorrection);
  feed(101);
  EXPECT_FALSE(data.calibration.ffcCalibrating);
  EXPECT_TRUE(data.flatField.shutterlessCorrection);
  EXPECT_EQ(slot0(), (std::vector<unsigned>{201, 221, 241, 261}));
  EXPECT_EQ(data.flatField.ffcMean, 115u);  // 100, 110, 120, 130
  EXPECT_NEAR(data.calibration.ffcLowTemperature, 25.3f, 1e-4f);
  EXPECT_TRUE(fs::exists("data/050/Toy_7_25.ffc"));
  feedTimes(4, 100);  // still 25.3: no further run
  EXPECT_FALSE(data.calibration.ffcCalibrating);
  EXPECT_EQ(slot0()[0], 201u);
  EXPECT_EQ(data.calibration.ffcFramesTaken, 0);
  data.calibration.ffcFramesToTake = 1;
  camera.device.sensorTemperatureK = 300.0f;
  feed(100);
  EXPECT_EQ(slot0()[0], 100u) << "a single frame will do";
}

TEST_F(CalibrationRuns, AShutterRunCancelsTheAutomaticCalibration) {
  data.calibration.autoFFC = true;
  data.flatField.shutterlessCorrection = true;
  data.calibration.ffcLowTemperature = 20.0f;
  feedTimes(5, 100);
  ASSERT_TRUE(data.calibration.ffcCalibrating);
  EXPECT_FALSE(data.flatField.shutterlessCorrection);
  camera.requestShutterRun(2);
  feed(200);
  EXPECT_FALSE(data.calibration.ffcCalibrating);
  EXPECT_EQ(data.calibration.ffcFramesTaken, 0);
  EXPECT_TRUE(data.flatField.shutterlessCorrection);
  EXPECT_EQ(data.calibration.ffcLowTemperature, 20.0f);
  camera.device.sensorTemperatureK = 310.0f;  // does not fire during a run
  feed(200);
  EXPECT_EQ(data.manual.frames, 2);
  EXPECT_EQ(slot0(), oldTable);
  EXPECT_FALSE(fs::exists("data"));
  // One that was asked for by hand had put nothing aside.
  data.calibration.ffcCalibrating = true;
  data.flatField.shutterlessCorrection = false;
  feed(200);
  EXPECT_FALSE(data.kept.borrowed) << "it is under way";
  data.calibration.ffcLowTemperature = 30.0f;
  camera.requestShutterRun(1);
  feed(200);
  EXPECT_FALSE(data.calibration.ffcCalibrating || data.flatField.shutterlessCorrection);
  EXPECT_EQ(data.calibration.ffcLowTemperature, 30.0f);
}

TEST_F(CalibrationRuns, AShutterRunGivenUpBeforeItBeganLeavesTheAutomaticCalibrationAlone) {
  data.calibration.autoFFC = true;
  data.calibration.saveCalibrationAt25 = true;
  data.calibration.ffcFramesToTake = 3;
  feedTimes(2, 100);
  ASSERT_TRUE(data.calibration.ffcCalibrating);
  camera.waitForShutterRun(camera.requestShutterRun(5));  // the worker does not run, so it gives up at once
  EXPECT_EQ(slot0(), oldTable);
  feed(106);
  EXPECT_FALSE(data.calibration.ffcCalibrating);
  EXPECT_EQ(slot0(), (std::vector<unsigned>{306, 336, 366, 396}));
  EXPECT_EQ(data.calibration.ffcFramesToTake, 3);
  EXPECT_TRUE(fs::exists("data/025/Toy_7_25.ffc"));
}

TEST_F(CalibrationRuns, WithoutAFileTheResultStillCounts) {
  std::ofstream("blocked").put('x');
  imageAcquisition other("blocked", false);  // a file where the directory should be
  other.processing.allocate(2, 2);
  other.requestShutterRun(1);
  std::fill_n(other.processing.rawImage.data, 4, std::uint16_t{50});
  other.delivered.number = 1;
  other.delivered.fromFilledSlot = true;
  FairLock lock(frameMutex);
  ASSERT_TRUE(process(&other));
  EXPECT_TRUE(other.processing.flatField.flatFieldCorrection);
  EXPECT_EQ(other.processing.manual.mean, 50u);
  EXPECT_EQ(log.count("Error while saving file 'blocked/ffc/"), 2u);
}

#if OMBRIX_OWN_NEW
TEST_F(CalibrationRuns, ARunEndsWhicheverAllocationFails) {
  std::uint64_t failing = 0;
  for (bool struck = true; struck;) {
    data.manual.frames = 0;
    camera.requestShutterRun(1);
    std::fill_n(data.rawImage.data, 4, std::uint16_t{100});
    camera.delivered = {++number, true, 0, 0};
    failAllocation(++failing);
    try {
      FairLock lock(frameMutex);
      process(&camera);
    } catch (const std::bad_alloc&) {
      // The frame is missing.
    }
    struck = allocationFailed();
    failAllocation(0);
    if (data.manual.frames == 0) feed(100);
    EXPECT_FALSE(data.calibration.shutterFFCRunning) << failing;
    EXPECT_TRUE(data.flatField.flatFieldCorrection) << failing;
    EXPECT_EQ(data.manual.frames, 1) << failing;
    EXPECT_EQ(slot0(), oldTable);
  }
  EXPECT_GT(failing, 5u);
}
#endif

}  // namespace
