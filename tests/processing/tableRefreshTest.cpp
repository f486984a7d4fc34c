// Calibration files at opening, and the tables and polynomials that follow the sensor temperature afterwards,
// on the frames of a tiny camera.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "acquisition/imageAcquisition.h"
#include "calibration/ffcFile.h"
#include "calibration/polynomialFiles.h"
#include "core/settings.h"
#include "processing/process.h"
#include "support/LogCapture.h"
#include "support/allocationCounter.h"
#include "support/workingFolder.h"

namespace fs = std::filesystem;

namespace {

using Levels = std::vector<std::uint16_t>;

constexpr std::uint16_t kRaw = 5000;

/// A camera of 2 x 2 pixels with files in a working directory of its own; frames show kRaw everywhere.
class TableRefresh : public testing::Test {
 protected:
  TableRefresh() {
    settings::create(0, nullptr);
    camera.device.modelName = "Toy";
    camera.device.serialNumber = 7;
    camera.device.width = camera.device.height = 2;
    data.allocate(2, 2);
    data.destriping.columnDestripingPasses = data.destriping.rowDestripingPasses = 0;
  }
  ~TableRefresh() override { settings::release(); }

  static std::string tablePath(const std::string& folder, int celsius) {
    return "set/" + folder + "/Toy_7_" + std::to_string(celsius) + ".ffc";
  }
  static void write(const std::string& folder, int celsius, unsigned level) {
    image<unsigned int> table(2, 2);
    std::fill_n(table.data, 4, level * 8);
    fs::create_directories("set/" + folder);
    ASSERT_TRUE(saveFFC(table, 8, static_cast<float>(celsius), tablePath(folder, celsius)));
  }

  Levels frame(float sensorC, bool measured = true) {
    std::fill_n(data.rawImage.data, 4, kRaw);
    camera.device.sensorTemperatureK = sensorC + 273.15f;
    camera.device.temperatureMeasured = measured;
    camera.delivered = {++number, true, 0, 0};
    FairLock lock(frameMutex);
    EXPECT_TRUE(process(&camera));
    return {data.correctedCopy.data, data.correctedCopy.data + 4};
  }

  const WorkingFolder scratch;
  LogCapture log{logger::verbosityInfo, LogCapture::Colours::keep};
  imageAcquisition camera{"set", false};
  processData<unsigned short>& data = camera.processing;
  FlatFieldState& flatField = data.flatField;
  std::uint64_t number = 0;
};

TEST_F(TableRefresh, TablesFollowTheSensor) {
  write("025", 10, 4000);
  write("025", 20, 4200);
  write("025", 30, 4600);
  camera.loadCalibrationFiles();
  const struct {
    float sensorC;
    float low, high;
    int expected;  // kRaw - the level at the sensor's temperature + the pair's target, (low + high) / 2
  } cases[] = {
      {22.5f, 20, 30, 5100},    {12.0f, 10, 20, 5060},  // below the pair: the next one
      {-5.0f, 10, 20, 5100},    {20.2f, 10, 20, 4900},  // beyond it by less than the hysteresis
      {25.0f, 20, 30, 5000},    {-273.65f, 20, 30, 5000},
      {-273.15f, 20, 30, 5000}, {NAN, 20, 30, 5000},  // no temperature: nothing changes
      {90.0f, 20, 30, 4800},
  };
  for (const auto& c : cases) {
    EXPECT_NEAR(frame(c.sensorC)[3], c.expected, 1) << c.sensorC;
    EXPECT_EQ(data.calibration.ffcLowTemperature, c.low) << c.sensorC;
    EXPECT_EQ(data.calibration.ffcHighTemperature, c.high) << c.sensorC;
  }
#if !OMBRIX_SANITIZED
  const std::uint64_t allocations = allocationCount();
  std::fill_n(data.rawImage.data, 4, kRaw);
  camera.delivered.number = ++number;
  FairLock lock(frameMutex);
  ASSERT_TRUE(process(&camera));
  EXPECT_EQ(allocationCount(), allocations) << "far outside of all tables every frame asks for others";
#endif
}

TEST_F(TableRefresh, AFailureIsReportedOnceAndLeavesFramesRaw) {
  for (const int celsius : {20, 30, 40}) {
    write("025", celsius, 4000);
    write("050", celsius, 4640);
  }
  camera.loadCalibrationFiles();
  camera.tableScanPause = std::chrono::milliseconds(0);
  ASSERT_EQ(flatField.ffcMode, 1);
  // 1000 counts above the reference, 640 of them per 25 K: 298.15 + 39.0625 - 233.15 K, 250 levels per
  // kelvin.
  EXPECT_NEAR(frame(25.0f)[0], 26015, 2);
  fs::remove_all("set/050");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(frame(35.0f), Levels(4, kRaw));
  EXPECT_FALSE(flatField.shutterlessCorrection);
  EXPECT_EQ(log.count("FFC update failed!"), 1u);
  flatField.shutterlessCorrection = true;
  EXPECT_EQ(frame(35.0f), Levels(4, kRaw)) << "one reference gives no temperatures";
  EXPECT_EQ(log.count("FFC update failed!"), 2u);
}

TEST_F(TableRefresh, TablesThatCannotBeReadAtOpeningAreTriedAnewWhenSwitchedOn) {
  for (const char* folder : {"025", "050"}) {
    for (const int celsius : {20, 30}) write(folder, celsius, folder[1] == '2' ? 4000 : 4640);
  }
  std::string levels;
  for (int level = 0; level < 65536; ++level) levels += std::to_string(level) + "\n";
  scratch.file("set/Toy_233.15_262.14_025_050.tco", levels);
  const std::string path = tablePath("050", 30);
  const std::string good = fileContents(path);
  scratch.file(path, "x" + good.substr(1));  // shows only when it is read whole
  camera.loadCalibrationFiles();
  EXPECT_FALSE(flatField.shutterlessCorrection);
  EXPECT_EQ(log.count("Unrecognized file format '" + path + "'"), 1u);
  EXPECT_EQ(frame(25.0f), Levels(4, kRaw));
  scratch.file(path, good);
  camera.tableScanPause = std::chrono::milliseconds(0);
  flatField.shutterlessCorrection = true;
  EXPECT_NEAR(frame(25.0f)[0], 26015, 2);
  EXPECT_TRUE(data.radiometry.radiometricCorrection) << "levels are temperatures again";
}

TEST_F(TableRefresh, ASensorColderThanAnAutomaticCalibrationGetsTheTablesOfItsTemperature) {
  write("025", 20, 4200);
  write("025", 30, 4600);
  camera.loadCalibrationFiles();
  data.calibration.autoFFC = true;
  for (int i = 0; i < 8; ++i) frame(28.0f);
  data.calibration.autoFFC = false;
  EXPECT_EQ(data.calibration.ffcLowTemperature, 28.0f);
  EXPECT_TRUE(fs::exists("data/Toy_7_28.ffc"));
  EXPECT_EQ(frame(28.0f)[0], 4800) << "the frames of the calibration are flat at the pair's target";
  EXPECT_EQ(frame(27.8f)[0], 4800) << "within the hysteresis";
  EXPECT_NEAR(frame(22.5f)[0], 5100, 1);         // 5000 - 4300 + 4400
  EXPECT_NEAR(frame(29.0f, false)[0], 5100, 1);  // what no sensor said moves nothing
  EXPECT_EQ(data.calibration.ffcLowTemperature, 20.0f);
}

TEST_F(TableRefresh, OnlyAProperManualTableIsUsed) {
  fs::create_directories("set/ffc");
  image<unsigned int> table(2, 2);
  std::fill_n(table.data, 4, 8u * 4000);
  const std::string path = "set/ffc/Toy_7.ffc";
  ASSERT_TRUE(saveFFC(table, 8, 25.0f, path));
  const std::string good = fileContents(path);
  const auto changed = [&good](std::size_t at, const std::string& bytes) {
    return std::string(good).replace(at, bytes.size(), bytes);
  };
  const struct {
    std::string bytes;
    bool used;
    const char* message;
  } cases[] = {
      {good, true, "' loaded"},
      {good.substr(1), false, "' is no flat-field table of this camera"},
      {good + "x", false, "' is no flat-field table of this camera"},
      {"", false, "' is no flat-field table of this camera"},
      {changed(32, std::string(2, '\0')), false, "' is no flat-field table of this camera"},          // N
      {changed(34, {'\0', '\0', '\xC0', '\x7F'}), false, "' is no flat-field table of this camera"},  // NaN
      {changed(0, "x"), false, "Unrecognized file format '"},
      {good, true, "' loaded"},
  };
  for (const auto& c : cases) {
    log.clear();
    scratch.file(path, c.bytes);
    camera.loadCalibrationFiles();
    EXPECT_EQ(flatField.flatFieldCorrection, c.used) << c.message;
    EXPECT_EQ(data.manual.usable(), c.used) << c.message;
    EXPECT_EQ(log.count(path), 1u) << log.text();
    EXPECT_EQ(log.count(c.message), 1u) << log.text();
  }
  // A directory is no file: that of the sensor's name serves.
  fs::rename(path, "set/ffc/ToySensor_7.ffc");
  camera.device.sensor = "ToySensor";
  fs::create_directories(path);
  camera.loadCalibrationFiles();
  EXPECT_TRUE(flatField.flatFieldCorrection);
}

TEST_F(TableRefresh, PolynomialsAreEvaluatedAnewAndShown) {
  fs::create_directories("set/pffc");
  std::vector<ffcPixelPolyfit> table(4);
  for (std::size_t i = 0; i < 4; ++i) {
    table[i].g0 = i == 2 ? 9.0f : 20.0f;     // gains 0.111 and 0.05
    table[i].o0 = 100.0f + float(i) * 2.0f;  // 100 to 106
  }
  ASSERT_TRUE(savePFFCMetadata(280.0f, 320.0f, std::string(kLinearFormula), "set/pffc/Toy_7.pffc"));
  ASSERT_TRUE(savePFFCP1GainData(table.data(), 2, 2, "set/pffc/Toy_7.gpffc"));
  ASSERT_TRUE(savePFFCP1OffsetData(table.data(), 2, 2, "set/pffc/Toy_7.opffc"));
  camera.loadCalibrationFiles();
  ASSERT_EQ(flatField.ffcMode, 2);
  // 4900 * 0.05 K = 245 K, 11.85 K above the range's start; the pixel of the other gain is far beyond its
  // end.
  EXPECT_NEAR(frame(25.0f)[0], 2962, 1);
  EXPECT_EQ(data.correctedCopy.data[2], 65535);
  EXPECT_NEAR(data.calibration.ffcLowTemperature, 24.99f, 1e-3f);
  EXPECT_NEAR(data.calibration.ffcHighTemperature, 25.01f, 1e-3f);
  EXPECT_EQ(log.count("FFC updated"), 0u);
  ASSERT_TRUE(settings::inst()->parseParam("verbose"));
  frame(25.0f);
  EXPECT_EQ(log.count("FFC updated"), 0u);
  frame(26.5f);
  EXPECT_EQ(log.count("FFC updated \033[0;37m(Toy S/N 7, 298.15K → 299.65K)"), 1u) << log.text();

  ASSERT_TRUE(settings::inst()->parseParam("displayFFCData"));
  EXPECT_EQ(frame(26.5f), (Levels{0, 0, 65535, 0}));
  flatField.ffcSlot = 1;
  EXPECT_EQ(frame(26.5f), (Levels{0, 21845, 43690, 65535}));
}

}  // namespace
