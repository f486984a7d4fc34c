// Calibration files and controls on whole cameras.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <thread>

#include "acquisition/flatFieldIndex.h"
#include "calibration/ffcFile.h"
#include "support/SdkRig.h"
#include "support/allocationCounter.h"
#include "support/waitFor.h"
#include "support/workingFolder.h"

namespace fs = std::filesystem;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

/// Tables in a working directory of the test's own.
class CalibrationFiles : public testing::Test {
 protected:
  /// A table whose every pixel is `level` per frame.
  static void writeTable(const std::string& path, float temperature, std::uint16_t frames, unsigned level,
                         std::uint16_t width, std::uint16_t height) {
    image<unsigned int> table(width, height);
    std::fill_n(table.data, table.pixelCount(), level * frames);
    fs::create_directories(fs::path(path).parent_path());
    ASSERT_TRUE(saveFFC(table, frames, temperature, path));
  }
  static void writeMarlow(const std::string& path, float temperature, std::uint16_t frames, unsigned level) {
    writeTable(path, temperature, frames, level, 320, 240);
  }
  /// Tables for 10, 20 and 30 degrees, of level 4010, 4020 and 4030, 8 frames each.
  static void writeReference(const std::string& folder) {
    for (const int t : {10, 20, 30}) {
      writeMarlow("data/" + folder + "/Marlow 3_466001359_" + std::to_string(t) + ".ffc",
                  static_cast<float>(t), 8, 4000 + unsigned(t));
    }
  }

  const WorkingFolder folder;
};

}  // namespace

TEST(ChooseTables, BracketsWithHysteresis) {
  const float temperatures[] = {5, 15, 25, 35};
  using Pair = std::optional<TablePair>;
  const struct {
    std::size_t count;
    float temperature;
    Pair current, expected;
  } cases[] = {
      {0, 20, {}, {}},
      {1, 20, {}, TablePair{0, 0}},
      {4, 15, {}, TablePair{1, 2}},  // at a table: it is the lower one
      {4, -8, {}, TablePair{0, 1}},  // outside of all: the nearest two
      {4, 50, {}, TablePair{2, 3}},
      {4, 25.2f, TablePair{1, 2}, TablePair{1, 2}},
      {4, 25.4f, TablePair{1, 2}, TablePair{2, 3}},
      {4, 14.8f, TablePair{1, 2}, TablePair{1, 2}},
      {4, 14.6f, TablePair{1, 2}, TablePair{0, 1}},
      {2, 20, TablePair{1, 2}, TablePair{0, 1}},  // the current pair is no longer there
      {4, kNan, TablePair{1, 2}, {}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(chooseTables({temperatures, c.count}, c.temperature, c.current), c.expected) << c.temperature;
}

TEST_F(CalibrationFiles, TheIndexTakesUsableTablesOfBothFolders) {
  const CalibrationPlaces places{"set", {"Model", "Sensor"}, 9, 3, 2};
  const auto write = [](const std::string& path, float temperature, std::uint16_t frames = 8) {
    writeTable(path, temperature, frames, 1, 3, 2);
  };
  write("set/025/Sensor_9_40.ffc", 40);  // the model's name comes first
  write("set/025/Model_9_25.ffc", 25.1f);
  write("set/025/Model_9_05.ffc", 5.2f);
  write("set/025/Model_9_15.ffc", 15);
  write("set/025/Model_9_99.ffc", 99, 0);
  write("set/025/Model_9_98.ffc", kNan);
  write("set/025/Model_90_35.ffc", 35);
  writeTable("set/025/Model_9_45.ffc", 45, 8, 1, 3, 3);
  std::ofstream("set/025/Model_9_55.ffc").put('G');
  fs::create_directories("set/025/Model_9_65.ffc");
  write("data/050/Model_9_25.ffc", 25.4f);  // the working directory serves where the data directory has none
  write("data/050/Model_9_05.ffc", 5.0f);
  write("data/050/Model_9_16.ffc", 16);
  const FlatFieldIndex index = scanFlatFieldTables(places);
  ASSERT_EQ(index.points.size(), 2u);
  EXPECT_TRUE(index.twoReferences());
  EXPECT_EQ(index.points[0].slot0, "set/025/Model_9_05.ffc");
  EXPECT_EQ(index.points[0].slot1, "data/050/Model_9_05.ffc");
  EXPECT_EQ(index.points[1].temperatureC, 25.1f);

  fs::remove_all("data");
  EXPECT_EQ(scanFlatFieldTables(places).points.size(), 3u);
  EXPECT_FALSE(scanFlatFieldTables(places).twoReferences());
  fs::remove_all("set");
  EXPECT_TRUE(scanFlatFieldTables(places).points.empty());
}

TEST_F(CalibrationFiles, OpeningLoadsWhatIsThereAndSetsTheSwitches) {
  const std::string id = "_466001359";
  writeMarlow("set/025/Marlow 3" + id + "_20.ffc", 20, 16, 4000);
  writeMarlow("set/025/Marlow 3" + id + "_30.ffc", 30, 32, 4100);
  writeMarlow("set/050/Marlow 3" + id + "_20.ffc", 20, 32, 5000);
  writeMarlow("set/050/Marlow 3" + id + "_30.ffc", 30, 32, 5100);
  writeMarlow("set/ffc/Quor320" + id + ".ffc", 25, 4, 1000);
  fs::create_directories("set/dpc");
  std::string map(320 * 240, '\0');
  map[321] = 1;
  std::ofstream("set/dpc/Marlow 3" + id + ".dpc") << map;
  {
    std::ofstream table("set/Marlow 3_233.15_262.14_025_050.tco");
    for (int level = 0; level < 65536; ++level) table << level << '\n';
  }
  SdkRig rig("marlow3;scene=coded;step=on;fpa=25");
  Ombrix camera(0, "set/");
  const auto& data = SdkRig::acquisition(0).processing;
  EXPECT_EQ(data.flatField.ffcMode, 1);
  EXPECT_TRUE(data.flatField.twoTableFFC);
  EXPECT_TRUE(camera.getShutterlessCorrection());
  EXPECT_TRUE(camera.getRadiometricCorrection());
  EXPECT_TRUE(camera.getFFC());
  EXPECT_EQ(data.manual.mean, 1000u);
  EXPECT_EQ(data.calibration.ffcFramesToTake, 32);
  EXPECT_EQ(data.ffcAccumulator.data[0], 4000u * 32);  // from 16 frames
  EXPECT_EQ(data.flatField.ffcTables.slot1High.data[76799], 5100u * 32);
  EXPECT_EQ(data.calibration.ffcLowTemperature, 20.0f);
  EXPECT_EQ(data.calibration.ffcHighTemperature, 30.0f);
  std::vector<std::pair<int, int>> pixels{{9, 9}};
  EXPECT_TRUE(camera.getDefectivePixelsCorrection(pixels));
  EXPECT_EQ(pixels, (std::vector<std::pair<int, int>>{{1, 1}}));
}

TEST_F(CalibrationFiles, WithoutFilesMostIsOff) {
  SdkRig rig("marlow3,hollis12;scene=coded;step=on");
  Ombrix marlow(0), hollis(1);
  for (Ombrix* camera : {&marlow, &hollis}) {
    EXPECT_FALSE(camera->getShutterlessCorrection());
    EXPECT_FALSE(camera->getRadiometricCorrection());
    EXPECT_FALSE(camera->getFFC());
    EXPECT_EQ(camera->getTemporalFiltering(), 0.6f);
    EXPECT_TRUE(camera->getColumnDestriping());
  }
  EXPECT_TRUE(marlow.getDefectivePixelsCorrection());  // its last pixel is a temperature
  EXPECT_FALSE(hollis.getDefectivePixelsCorrection());
  EXPECT_EQ(rig.log.count("Error while opening file 'data/dpc/Marlow 3_466001359.dpc'"), 1u);
  EXPECT_EQ(rig.log.count("File 'data/Marlow 3_233.15_262.14_025_050.tco' not found"), 1u);
  EXPECT_EQ(rig.log.count("loadThermographicCorrection()"), 2u);  // once for each camera
}

TEST_F(CalibrationFiles, ARefreshThatFindsNothingSwitchesOffAndKeepsTheTables) {
  writeReference("025");
  SdkRig rig("marlow3;scene=coded;step=on;fpa=25");
  Ombrix camera(0);
  imageAcquisition& acquisition = SdkRig::acquisition(0);
  const auto& data = acquisition.processing;
  EXPECT_EQ(data.flatField.ffcMode, 0);
  FairLock lock(frameMutex);
  EXPECT_TRUE(acquisition._updateFFC(288.15f));
  EXPECT_EQ(data.calibration.ffcLowTemperature, 10.0f);
  EXPECT_EQ(data.ffcAccumulator.data[5], 8u * 4010);
  EXPECT_FALSE(acquisition._updateFFC(kNan));
  EXPECT_TRUE(data.flatField.shutterlessCorrection);
  fs::remove("data/025/Marlow 3_466001359_30.ffc");
  EXPECT_FALSE(acquisition._updateFFC(298.15f));
  EXPECT_FALSE(data.flatField.shutterlessCorrection);
  EXPECT_EQ(data.ffcAccumulator.data[5], 8u * 4010);  // the last good tables stay
  EXPECT_FALSE(acquisition._updateFFC(288.15f)) << "within 5 s nothing is looked for";
}

TEST_F(CalibrationFiles, AFailedRefreshLooksAgainAfterItsPauseHoweverOftenItIsAsked) {
  writeReference("025");
  SdkRig rig("marlow3;scene=coded;step=on;fpa=25");
  Ombrix camera(0);
  imageAcquisition& acquisition = SdkRig::acquisition(0);
  acquisition.tableScanPause = std::chrono::milliseconds(200);
  fs::remove_all("data/025");
  FairLock lock(frameMutex);
  const auto failed = std::chrono::steady_clock::now();
  EXPECT_FALSE(acquisition._updateFFC(288.15f));
  writeReference("025");
  // As by an application that keeps switching the correction on.
  EXPECT_TRUE(waitFor([&] { return acquisition._updateFFC(288.15f); }));
  EXPECT_GE(std::chrono::steady_clock::now() - failed, acquisition.tableScanPause);
  EXPECT_EQ(acquisition.processing.ffcAccumulator.data[5], 8u * 4010);
  // Colder than all tables: every frame asks, and the answer is free.
#if !OMBRIX_SANITIZED
  const std::uint64_t allocations = allocationCount();
  EXPECT_TRUE(acquisition._updateFFC(258.15f));
  EXPECT_EQ(allocationCount(), allocations);
#endif
}

TEST_F(CalibrationFiles, AShutterRunOnLiveFramesReturnsWithItsTable) {
  SdkRig rig("marlow3;scene=uniform;rate=200");
  Ombrix camera(0);
  camera.runFFC(true, 8);
  EXPECT_TRUE(camera.getFFC());
  EXPECT_TRUE(fs::exists("data/ffc/Marlow 3_466001359.ffc"));
  camera.setFFC(false);
  EXPECT_FALSE(camera.getFFC());
  for (const int none : {0, 65536, -65536}) camera.runFFC(true, none);
  EXPECT_EQ(rig.log.count("takes none, not started"), 3u);
  EXPECT_FALSE(SdkRig::acquisition(0).processing.calibration.shutterFFCRunning);
  std::thread longer([&] { camera.runFFC(true, -1); });  // 65,535 frames
  EXPECT_TRUE(
      waitFor([&] { return SdkRig::acquisition(0).processing.calibration.shutterFFCRunning.load(); }));
  camera.runFFC(true, 4);  // starts the count anew, for both
  longer.join();
  EXPECT_TRUE(camera.getFFC());
}

TEST_F(CalibrationFiles, AWaiterLeavesACameraThatGivesNoFrames) {
  SdkRig rig("marlow3;scene=uniform;step=on");
  Ombrix camera(0);
  camera.setFFC(true);
  SdkRig::acquisition(0).shutterSilence = std::chrono::milliseconds(100);
  camera.runFFC(true, 8);  // no sample ever comes
  EXPECT_TRUE(camera.getFFC()) << "what was in force is again";
  EXPECT_EQ(rig.log.count("ended without a result"), 1u);
  // Nor do others hold it there that keep asking.
  std::atomic<bool> left{false};
  std::thread impatient([&] {
    while (!left) camera.runFFC(false, 8);
  });
  camera.runFFC(true, 8);
  left = true;
  impatient.join();
}

TEST_F(CalibrationFiles, WaitersLeaveWhenTheCameraOrTheSdkGoes) {
  for (const bool unplugged : {true, false}) {
    SdkRig rig("marlow3;scene=uniform;rate=100");
    Ombrix camera(0);
    SdkRig::acquisition(0).shutterSilence = std::chrono::hours(1);  // no way out for a waiter
    std::atomic<int> left{0};
    const auto wait = [&] {
      camera.runFFC(true, 60000);
      ++left;
    };
    std::thread first(wait), second(wait);
    const auto& running = SdkRig::acquisition(0).processing.calibration.shutterFFCRunning;
    ASSERT_TRUE(waitFor([&] { return running.load(); }));
    if (unplugged) {
      ASSERT_EQ(rig.platform->camera(0).apply("unplug"), "");
    } else {
      rig.sdk.reset();
    }
    EXPECT_TRUE(waitFor([&] { return left == 2; }, std::chrono::seconds(10)));
    first.join();
    second.join();
  }
}

TEST_F(CalibrationFiles, PixelTemperaturesFollowTheRadiometricRange) {
  Ombrix unknown(7);  // before there is an SDK: enters no list
  SdkRig rig("marlow3;scene=coded;step=on");
  Ombrix camera(0);
  auto& picture = SdkRig::acquisition(0).processing.correctedCopy;
  picture.data[0] = 0;
  picture.data[1] = 65535;
  picture.data[320 * 239 + 319] = 16250;
  const struct {
    int x, y;
    float emissivity, celsius;
  } cases[] = {
      {0, 0, 1.0f, -40.0f},       {1, 0, 1.0f, 222.14f},       {319, 239, 1.0f, 25.0f},
      {-1, 0, 1.0f, -273.15f},    {320, 0, 1.0f, -273.15f},    {0, 240, 1.0f, -273.15f},
      {0, -1, 1.0f, -273.15f},    {319, 239, 0.5f, 81.41f},  // 298.15 * 2^0.25 = 354.56 K
      {319, 239, 0.0f, -273.15f}, {319, 239, -1.0f, -273.15f}, {319, 239, kNan, -273.15f},
      {319, 239, kInf, -273.15f},
  };
  for (const auto& c : cases)
    EXPECT_NEAR(camera.getPixelTemperature(c.x, c.y, c.emissivity), c.celsius, 0.01f) << c.x << "," << c.y;
  EXPECT_EQ(unknown.getPixelTemperature(0, 0, 1.0f), 0.0f);
}

TEST_F(CalibrationFiles, ControlsKeepWhatTheyAreGivenAndIgnoreNonsense) {
  Ombrix unknown(7);  // before there is an SDK: enters no list
  SdkRig rig("marlow3;scene=coded;step=on");
  Ombrix camera(0), failed(5);
  for (const float wrong : {1.5f, -0.1f, kNan, kInf, -kInf}) {
    camera.setTemporalFiltering(wrong);
    EXPECT_EQ(camera.getTemporalFiltering(), 0.6f) << wrong;
  }
  for (const float right : {0.0f, 1.0f, 0.25f}) {
    camera.setTemporalFiltering(right);
    EXPECT_EQ(camera.getTemporalFiltering(), right);
  }
  const auto& destriping = SdkRig::acquisition(0).processing.destriping;
  camera.setColumnDestriping(false);
  EXPECT_FALSE(camera.getColumnDestriping());
  EXPECT_EQ(destriping.rowDestripingPasses, 0);
  EXPECT_EQ(destriping.strength, 0.0f);
  camera.setColumnDestriping(true);
  EXPECT_EQ(destriping.rowDestripingPasses, 2);
  EXPECT_EQ(destriping.strength, 0.25f);
  for (const bool on : {true, false}) {
    camera.setDefectivePixelsCorrection(on);
    camera.setShutterlessCorrection(on);
    camera.setRadiometricCorrection(!on);
    EXPECT_EQ(camera.getDefectivePixelsCorrection(), on);
    EXPECT_EQ(camera.getShutterlessCorrection(), on);
    EXPECT_EQ(camera.getRadiometricCorrection(), !on);
  }
  std::vector<std::pair<int, int>> pixels{{3, 4}};
  EXPECT_FALSE(unknown.getDefectivePixelsCorrection(pixels));
  EXPECT_EQ(pixels.size(), 1u);
  unknown.runFFC(true, 5);
  failed.runFFC(true, 5);  // a camera that never opened gives no frames to wait for
  EXPECT_FALSE(failed.getFFC());
  EXPECT_FALSE(unknown.getFFC() || unknown.getColumnDestriping() || unknown.getShutterlessCorrection());
}
