#include "presentation/colorMap.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "support/LogCapture.h"

namespace {

using Entries = std::array<rgb_24b, 256>;

const std::string kPositive = " \033[0;37m(positive)\033[0;0m";
const std::string kNegative = " \033[0;37m(negative)\033[0;0m";

std::vector<std::vector<std::string>> readCsv(const std::string& path) {
  std::ifstream file(OMBRIX_SOURCE_DIR + path);
  std::vector<std::vector<std::string>> rows;
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::istringstream cells(line);
    rows.emplace_back();
    for (std::string cell; std::getline(cells, cell, ',');) rows.back().push_back(cell);
  }
  return rows;
}

Entries entriesOf(int index, bool negative = false, std::string* name = nullptr) {
  Entries entries{};
  std::string text;
  colorMap().getSubColorMap(index, negative, entries.data(), name ? *name : text);
  return entries;
}

std::uint8_t byteOf(const std::string& cell) { return static_cast<std::uint8_t>(std::stoi(cell)); }

rgb_24b gray(int level) {
  const auto byte = static_cast<std::uint8_t>(level);
  return {byte, byte, byte};
}

ColorPreset presetOf(std::vector<subMap> maps) {
  ColorPreset preset;
  preset.subMaps = std::make_unique<std::vector<subMap>>(std::move(maps));
  return preset;
}

TEST(ColorMap, MatchesTheReferenceRows) {
  const auto rows = readCsv("/tests/golden/colormap_reference_rows.csv");
  ASSERT_EQ(rows.size(), 205u);
  for (const auto& row : rows) {
    const rgb_24b color = entriesOf(std::stoi(row[0]))[std::stoul(row[2])];
    EXPECT_EQ(color, (rgb_24b{byteOf(row[3]), byteOf(row[4]), byteOf(row[5])})) << row[1] << " " << row[2];
  }
}

// The compiled tables are generated: a forgotten run of the generator shows here.
TEST(ColorMap, MatchesTheDataItWasGeneratedFrom) {
  const auto rows = readCsv("/data/colormaps/colormaps.csv");
  ASSERT_EQ(rows.size(), 43u * 256u);
  Entries entries{};
  for (const auto& row : rows) {
    const std::size_t entry = std::stoul(row[2]);
    std::string name;
    if (entry == 0) {
      entries = entriesOf(std::stoi(row[0]), false, &name);
      ASSERT_EQ(name, row[1] + kPositive);
    }
    const auto byte = [](const std::string& cell) {
      return static_cast<std::uint8_t>(std::stod(cell) * 255);
    };
    ASSERT_EQ(entries[entry], (rgb_24b{byte(row[3]), byte(row[4]), byte(row[5])})) << row[1] << " " << entry;
  }
}

TEST(ColorMap, LinesAreBandsOfSevenColours) {
  const rgb_24b cycle[7] = {{0, 0, 255},   {0, 127, 0},   {255, 0, 0}, {0, 191, 191},
                            {191, 0, 191}, {191, 191, 0}, {63, 63, 63}};
  for (int index = 44, bands = 2; index < colorMap::kSubMapCount; index++, bands *= 2) {
    std::string name;
    const Entries entries = entriesOf(index, false, &name);
    EXPECT_EQ(name, "lines (" + std::to_string(bands) + ")" + kPositive);
    for (int i = 0; i < 256; i++) {
      EXPECT_EQ(entries[static_cast<std::size_t>(i)], cycle[i / (256 / bands) % 7]) << index << " " << i;
    }
  }
}

TEST(ColorMap, UnknownIndexLeavesTheColours) {
  for (const int index : {52, -1, 1000, -2147483647 - 1}) {
    LogCapture log;
    Entries entries;
    entries.fill({1, 2, 3});
    entries[0] = {9, 9, 9};
    const Entries before = entries;
    std::string name = "as before";
    colorMap().getSubColorMap(index, true, entries.data(), name);
    EXPECT_EQ(entries, before);
    EXPECT_EQ(name, "as before" + kNegative);
    EXPECT_EQ(log.count("<colorMap::getSubColorMap> unknown colormap index " + std::to_string(index)), 1u)
        << testing::PrintToString(log.lines());
  }
}

struct Expected {
  std::size_t level;
  rgb_24b color;
};

struct CombineCase {
  const char* what;
  std::vector<subMap> maps;
  std::size_t names;
  std::vector<Expected> entries;
};

TEST(ColorMap, CombinesMapsSideBySide) {
  // Gray and full primaries pass the HSV step unchanged, so bytes are those of the maps.
  const CombineCase cases[] = {
      {"one map is stretched",
       {{0, false}},
       1,
       {{0, gray(0)}, {255, gray(0)}, {256, gray(1)}, {51456, gray(201)}, {65535, gray(255)}}},
      {"reversed gray, then hot",
       {{0, true}, {3, false}},
       2,
       {{0, gray(255)},
        {127, gray(255)},
        {128, gray(254)},
        {32767, gray(0)},
        {32768, {2, 0, 0}},
        {65535, gray(255)}}},
      {"three maps meet at 21846 and 43691",
       {{0, false}, {44, false}, {0, true}},
       3,
       {{21845, gray(255)},
        {21846, {0, 0, 255}},
        {43690, {0, 127, 0}},
        {43691, gray(255)},
        {65535, gray(0)}}},
      {"a neighbour with the same index keeps the first direction",
       {{0, false}, {0, true}},
       1,
       {{0, gray(0)}, {32767, gray(255)}, {32768, gray(0)}, {65535, gray(255)}}},
      {"an unknown map shows the one before",
       {{0, false}, {99, true}},
       2,
       {{32768, gray(0)}, {65535, gray(255)}}},
  };
  for (const CombineCase& test : cases) {
    SCOPED_TRACE(test.what);
    LogCapture log;
    colorMap map;
    map.name = "to be cleared";
    std::vector<std::string> names{"first"};
    map.combineColorMaps(presetOf(test.maps), names);
    EXPECT_EQ(names.size(), test.names + 1);
    EXPECT_EQ(map.name, "");
    EXPECT_TRUE(map.ready);
    EXPECT_EQ(map.preset.subMaps->size(), test.maps.size());
    for (const Expected& entry : test.entries) EXPECT_EQ(map.lookup[entry.level], entry.color) << entry.level;
  }
}

TEST(ColorMap, RefusesToCombineNothing) {
  colorMap map;
  std::vector<std::string> names;
  map.combineColorMaps(presetOf({{0, false}}), names);
  const auto before = map.lookup;
  for (const bool withVector : {true, false}) {
    LogCapture log;
    ColorPreset empty;
    if (withVector) empty = presetOf({});
    map.combineColorMaps(empty, names);
    EXPECT_EQ(log.count("<colorMap::combineColorMaps> combineColorMaps called with empty indexes"), 1u);
    EXPECT_EQ(map.lookup, before);
    EXPECT_EQ(names.size(), 1u);
  }
}

TEST(ColorMap, AdjustsEveryEntryOnce) {
  colorMap map;
  map.saturation = 0.0f;
  map.brightness = 0.5f;
  std::vector<std::string> names;
  map.combineColorMaps(presetOf({{44, false}, {45, false}}), names);
  // Saturation 0 leaves the value: 255 for blue and red; 127 and 191 become trunc(sqrt(v / 255) * 255).
  const Expected expected[] = {
      {0, gray(255)}, {16384, gray(179)}, {32768, gray(255)}, {49152, gray(255)}, {57344, gray(220)}};
  for (const Expected& entry : expected) EXPECT_EQ(map.lookup[entry.level], entry.color) << entry.level;
  EXPECT_FLOAT_EQ(map.hsv[16384].hue, 120.0f);
  EXPECT_FLOAT_EQ(map.hsv[16384].saturation, 0.0f);
  EXPECT_NEAR(map.hsv[16384].value, 179.9583f, 0.0005f);  // sqrt(127 * 255)
}

}  // namespace
