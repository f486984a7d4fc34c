#include <gtest/gtest.h>

#include <numeric>

#include "calibration/badPixels.h"
#include "calibration/thermographicFile.h"
#include "support/LogCapture.h"
#include "support/scratchFiles.h"

namespace {

using List = std::vector<std::pair<int, int>>;
using namespace std::string_literals;

TEST(BadPixels, ReadsByRowsAndWritesBack) {
  const ScratchFolder scratch;
  const LogCapture log;
  List list = {{9, 9}};
  EXPECT_TRUE(loadBadPixelsList(&list, 4, 2, scratch.file("map", "\0\0\1\0\0\0\0\5"s)));
  EXPECT_EQ(list, (List{{2, 0}, {3, 1}}));
  EXPECT_TRUE(loadBadPixelsList(&list, 3, 2, goldenPath("calibration_3x2.dpc")));
  EXPECT_EQ(list, (List{{2, 0}, {0, 1}, {1, 1}}));
  EXPECT_TRUE(log.contains("File '" + goldenPath("calibration_3x2.dpc") + "' loaded")) << log.text();
  EXPECT_FALSE(loadBadPixelsList(nullptr, 3, 2, goldenPath("calibration_3x2.dpc")));

  list.insert(list.begin(), {{3, 0}, {0, 2}, {-1, 1}, {1, -1}});
  const std::string copy = scratch.path("copy.dpc");
  EXPECT_TRUE(saveBadPixelsMap(list, 3, 2, copy));
  EXPECT_EQ(fileContents(copy), fileContents(goldenPath("calibration_3x2.dpc")));
  EXPECT_TRUE(saveBadPixelsMap({{3, 0}, {0, 2}, {-1, 1}, {1, -1}}, 3, 2, copy));
  EXPECT_EQ(fileContents(copy), std::string(6, '\0'));
  EXPECT_FALSE(saveBadPixelsMap(list, 3, 2, scratch.subfolder("folder")));
}

TEST(BadPixels, RefusesOtherSizesWithAnEmptyList) {
  const ScratchFolder scratch;
  for (const std::string& path :
       {scratch.file("longer", std::string(9, '\1')), scratch.file("shorter", std::string(7, '\1')),
        scratch.subfolder("folder"), scratch.path("missing"), "/dev/zero"s}) {
    const LogCapture log;
    List list = {{1, 1}};
    EXPECT_FALSE(loadBadPixelsList(&list, 4, 2, path)) << path;
    EXPECT_TRUE(list.empty()) << path;
    EXPECT_TRUE(log.contains("Error while opening file '" + path + "'")) << log.text();
  }
}

/// 65,536 lines: 0, 65535, then the line number each, with `replaced` in place of line `at`.
std::string tableText(std::size_t at = 70000, const std::string& replaced = "") {
  std::string text;
  for (std::size_t i = 0; i < 65536; ++i)
    text += i == at ? replaced : (i == 1 ? "65535" : std::to_string(i)) + "\n";
  return text;
}

TEST(ThermographicTable, LoadsWhatItSavedAndExtraLines) {
  const ScratchFolder scratch;
  const LogCapture log(logger::verbosityDebug, LogCapture::Colours::keep);
  std::vector<std::uint16_t> table(65536);
  const std::span<std::uint16_t, 65536> entries(table.data(), 65536);
  const std::string path = scratch.file("table.tco", tableText(9, " \t0009\r\n") + "rest");
  EXPECT_TRUE(calibration::loadThermographicTable(entries, path, LOG_HERE));
  EXPECT_EQ(table[1], 65535);
  EXPECT_EQ(table[9], 9);
  EXPECT_EQ(table[65535], 65535);
  EXPECT_TRUE(log.contains("loadThermographicCorrection()"));
  EXPECT_TRUE(log.contains("File '" + path + "' loaded"));

  EXPECT_TRUE(calibration::saveThermographicTable(entries, scratch.path("copy.tco")));
  EXPECT_TRUE(fileContents(scratch.path("copy.tco")) == tableText());  // a difference is too long to show

  EXPECT_FALSE(calibration::loadThermographicTable(entries, scratch.path("none.tco"), LOG_HERE));
  EXPECT_FALSE(calibration::loadThermographicTable(entries, scratch.subfolder("folder"), LOG_HERE));
  EXPECT_TRUE(log.contains("\033[2;37mFile '" + scratch.path("none.tco") + "' not found")) << log.text();
  EXPECT_FALSE(log.contains("Error while"));
  const std::size_t lines = log.lines().size();
  EXPECT_FALSE(calibration::loadThermographicTable(entries, "", LOG_HERE));
  EXPECT_EQ(log.lines().size(), lines + 1);  // the call itself
}

TEST(ThermographicTable, StopsAtTheFirstValueThatIsNoLevel) {
  const std::string bad[] = {
      "65536\n", "-1\n", "+1\n", "12.5\n", "1x\n", "0x10\n", "\0\n"s, "4\0004\n"s, "99999999999999999999\n"};
  const ScratchFolder scratch;
  for (const std::string& line : bad) {
    const LogCapture log;
    std::vector<std::uint16_t> table(65536);
    std::iota(table.begin(), table.end(), std::uint16_t{0});
    const std::span<std::uint16_t, 65536> entries(table.data(), 65536);
    const std::string path = scratch.file("bad.tco", tableText(3, line));
    EXPECT_FALSE(calibration::loadThermographicTable(entries, path, LOG_HERE)) << line;
    EXPECT_EQ(table[1], 65535) << line;
    EXPECT_EQ(table[3], 3) << line;
    EXPECT_TRUE(log.contains("Error while opening file '" + path + "'")) << log.text();
  }
  std::vector<std::uint16_t> table(65536);
  const std::span<std::uint16_t, 65536> entries(table.data(), 65536);
  const LogCapture log;
  // 65,535 values.
  EXPECT_FALSE(
      calibration::loadThermographicTable(entries, scratch.file("short", tableText(65535)), LOG_HERE));
  EXPECT_EQ(table[65534], 65534);
  EXPECT_EQ(table[65535], 0);
  std::string text = tableText();
  text.resize(std::size_t{4} << 20, ' ');
  EXPECT_TRUE(calibration::loadThermographicTable(entries, scratch.file("large", text), LOG_HERE));
  EXPECT_FALSE(calibration::loadThermographicTable(entries, scratch.file("vast", text + ' '), LOG_HERE));
}

}  // namespace
