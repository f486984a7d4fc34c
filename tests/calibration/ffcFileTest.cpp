#include "calibration/ffcFile.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/LogCapture.h"
#include "support/scratchFiles.h"

namespace {

/// What a load wrote: the pixels of a table filled with 7 before, and the scalars, 9 and -1 before.
struct Loaded {
  image<unsigned int> table;
  unsigned short frameCount = 9;
  float temperature = -1.0f;
  bool result = false;

  Loaded(const std::string& path, std::uint16_t width, std::uint16_t height) : table(width, height) {
    std::fill_n(table.data, table.pixelCount(), 7u);
    result = loadFFC(&table, frameCount, temperature, path);
  }
  std::vector<unsigned int> pixels() const { return {table.data, table.data + table.pixelCount()}; }
};

using Pixels = std::vector<unsigned int>;

TEST(FfcFile, ReadsAndWritesTheGoldenTable) {
  const ScratchFolder scratch;
  const LogCapture log;
  const Loaded loaded(goldenPath("calibration_3x2.ffc"), 3, 2);
  EXPECT_TRUE(loaded.result);
  EXPECT_EQ(loaded.pixels(),
            (Pixels{0x01020304, 0x01020305, 0x01020306, 0x02040608, 0x02040609, 0x0204060A}));
  EXPECT_EQ(loaded.frameCount, 0x1234);
  EXPECT_EQ(loaded.temperature, 25.5f);

  const std::string copy = scratch.path("copy.ffc");
  EXPECT_TRUE(saveFFC(loaded.table, loaded.frameCount, loaded.temperature, copy));
  EXPECT_EQ(fileContents(copy), fileContents(goldenPath("calibration_3x2.ffc")));
  EXPECT_EQ(fileContents(copy).size(), calibration::ffcFileSize(3, 2));
  EXPECT_TRUE(log.contains("loadFFC")) << log.text();
  EXPECT_TRUE(log.contains("File '" + goldenPath("calibration_3x2.ffc") + "' loaded"));
  EXPECT_TRUE(log.contains("File '" + copy + "' saved"));
}

TEST(FfcFile, OddSizesLoadAsFarAsTheBytesReach) {
  const ScratchFolder scratch;
  const LogCapture log;
  const std::string golden = fileContents(goldenPath("calibration_3x2.ffc"));
  const std::string signature = golden.substr(0, 16);

  const Loaded empty(scratch.file("empty", signature), 2, 1);
  EXPECT_TRUE(empty.result);
  EXPECT_EQ(empty.pixels(), (Pixels{7, 7}));
  EXPECT_EQ(empty.frameCount, 9);

  // Ends within the second pixel: its low two bytes arrive.
  const Loaded cut(scratch.file("cut", golden.substr(0, 22)), 2, 1);
  EXPECT_TRUE(cut.result);
  EXPECT_EQ(cut.pixels(), (Pixels{0x01020304, 0x00000305}));
  EXPECT_EQ(cut.temperature, -1.0f);

  // Ends within the scalars.
  const Loaded noTemperature(scratch.file("no temperature", golden.substr(0, 41)), 3, 2);
  EXPECT_TRUE(noTemperature.result);
  EXPECT_EQ(noTemperature.frameCount, 0x0034);
  EXPECT_EQ(noTemperature.temperature, -1.0f);

  // A table of another size: too few pixels are taken, the scalars come from pixel bytes.
  const Loaded smaller(goldenPath("calibration_3x2.ffc"), 2, 2);
  EXPECT_TRUE(smaller.result);
  EXPECT_EQ(smaller.pixels()[3], 0x02040608u);
  EXPECT_EQ(smaller.frameCount, 0x0609);

  // What follows the scalars is no part of them.
  Loaded longer(goldenPath("calibration_3x2.ffc"), 3, 2);
  const std::string more = golden + '\xFF';
  EXPECT_TRUE(calibration::readFFC({reinterpret_cast<const std::uint8_t*>(more.data()), more.size()},
                                   longer.table, longer.frameCount, longer.temperature));
  EXPECT_EQ(longer.temperature, 25.5f);
}

TEST(FfcFile, RefusesWhatIsNoTable) {
  const ScratchFolder scratch;
  const std::string golden = fileContents(goldenPath("calibration_3x2.ffc"));
  std::string lastByte = golden;
  lastByte[15] = 1;
  struct Case {
    std::string path;
    const char* message;
  };
  const Case cases[] = {
      {scratch.file("sixteenth", lastByte), "Unrecognized file format '"},
      {scratch.file("short", golden.substr(0, 15)), "Unrecognized file format '"},
      {scratch.file("nothing", ""), "Unrecognized file format '"},
      {scratch.path("missing"), "Error while loading file '"},
      {scratch.subfolder("folder"), "Error while loading file '"},
      {"/dev/zero", "Error while loading file '"},
      {"", "Error while loading file '"},
  };
  for (const Case& c : cases) {
    const LogCapture log;
    const Loaded loaded(c.path, 3, 2);
    EXPECT_FALSE(loaded.result) << c.path;
    EXPECT_EQ(loaded.pixels(), Pixels(6, 7u)) << c.path;
    EXPECT_EQ(loaded.frameCount, 9) << c.path;
    EXPECT_TRUE(log.contains(c.message + c.path + "'")) << log.text();
  }
  const LogCapture log;
  EXPECT_FALSE(saveFFC(image<unsigned int>(1, 1), 1, 0.0f, scratch.path("absent/x.ffc")));
  EXPECT_FALSE(saveFFC(image<unsigned int>(1, 1), 1, 0.0f, scratch.path("folder")));
  EXPECT_EQ(log.count("Error while saving file '"), 2u) << log.text();
  if (std::filesystem::exists("/dev/full")) {
    // Opened, then not written: still reported as saved.
    EXPECT_TRUE(saveFFC(image<unsigned int>(1, 1), 1, 0.0f, "/dev/full"));
  }
}

TEST(FfcFile, PeekingWantsTheExactSizeAndUsableScalars) {
  const LogCapture log;
  const ScratchFolder scratch;
  const image<unsigned int> table(3, 2);
  const auto save = [&](unsigned short frames, float temperature) {
    saveFFC(table, frames, temperature, scratch.path("table"));
    return scratch.path("table");
  };
  std::uint16_t frames = 0;
  float temperature = 0.0f;
  const std::string golden = goldenPath("calibration_3x2.ffc");
  EXPECT_TRUE(calibration::peekFFC(golden, 3, 2, frames, temperature));
  EXPECT_EQ(frames, 0x1234);
  EXPECT_EQ(temperature, 25.5f);
  EXPECT_FALSE(calibration::peekFFC(golden, 2, 2, frames, temperature));
  EXPECT_FALSE(calibration::peekFFC(golden, 4, 2, frames, temperature));
  EXPECT_FALSE(calibration::peekFFC(scratch.path("missing"), 3, 2, frames, temperature));
  EXPECT_FALSE(calibration::peekFFC(save(0, 20.0f), 3, 2, frames, temperature));
  EXPECT_FALSE(
      calibration::peekFFC(save(8, std::numeric_limits<float>::quiet_NaN()), 3, 2, frames, temperature));
  EXPECT_EQ(frames, 0x1234);
}

TEST(FfcFile, MeanDividesEachPixelBeforeSummingInFloat) {
  image<unsigned int> table(5, 1);
  std::fill_n(table.data, 5, 3u);
  EXPECT_EQ(getFFCMean(table, 2), 1u);
  table.data[4] = 8;  // (1 + 1 + 1 + 1 + 4) / 5; with halves kept it would be 2
  EXPECT_EQ(getFFCMean(table, 2), 1u);
  EXPECT_EQ(getFFCMean(table, 0), 0u);
  EXPECT_EQ(getFFCMean(image<unsigned int>(), 4), 0u);

  // 2^24 and four ones: a float sum loses every one of them, 16777216 / 5 = 3355443.2.
  std::fill_n(table.data, 5, 1u);
  table.data[0] = 16777216;
  EXPECT_EQ(getFFCMean(table, 1), 3355443u);
  // The sum of five is 5 * 2^32 in float: one more than fits after the division.
  std::fill_n(table.data, 5, 0xFFFFFFFFu);
  EXPECT_EQ(getFFCMean(table, 1), 0xFFFFFFFFu);
  EXPECT_EQ(getFFCMean(table, 65535), 65537u);
}

// Sums of two frames, 20 and 22 in the middle: 84 of 8 pixels is 10.5. Without the pixel at (1, 1), 64 of 6.
// Defects beside the middle count for nothing, unless all of it is defective: 15000 of 24.
TEST(FfcFile, TheLevelOfTheMiddleIsRounded) {
  image<unsigned int> table(4, 4);
  std::fill_n(table.data, table.pixelCount(), 1000u);
  table.data[5] = table.data[6] = 20;
  table.data[9] = table.data[10] = 22;
  EXPECT_EQ(calibration::levelOfTheMiddle(table, 2, {}), 11u);
  const std::pair<int, int> defects[] = {{1, 1}, {0, 1}, {3, 1}, {1, 0}, {1, 3}};
  table.data[5] = 2000;
  EXPECT_EQ(calibration::levelOfTheMiddle(table, 2, defects), 11u);
  table.data[10] = 20;
  EXPECT_EQ(calibration::levelOfTheMiddle(table, 2, defects), 10u);
  EXPECT_EQ(calibration::levelOfTheMiddle(table, 0, {}), 0u);
  table.data[0] = 4000;
  const std::pair<int, int> middle[] = {{1, 1}, {2, 1}, {1, 2}, {2, 2}};
  EXPECT_EQ(calibration::levelOfTheMiddle(table, 2, middle), 625u);

  // The middle begins after a quarter: 25 pixels of 20, 11 of 80 in its first row and column.
  image<unsigned int> larger(12, 12);
  std::fill_n(larger.data, larger.pixelCount(), 1000u);
  for (std::uint32_t y = 3; y < 9; ++y)
    for (std::uint32_t x = 3; x < 9; ++x) larger.view().at(x, y) = x == 3 || y == 3 ? 80 : 20;
  EXPECT_EQ(calibration::levelOfTheMiddle(larger, 1, {}), 38u);
}

}  // namespace
