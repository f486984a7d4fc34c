#include "presentation/palette.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

#include "support/LogCapture.h"

namespace {

class PaletteTest : public testing::Test {
 protected:
  void SetUp() override {
    if (colorPresetCount() == 0) loadColorPresets();
  }
  static rgb_24b colorOf(const Palette& palette, std::size_t level) {
    MutexLock lock(palette.colourMutex);
    return palette.table()[level];
  }
};

constexpr rgb_24b kBlack{0, 0, 0};
constexpr rgb_24b kWhite{255, 255, 255};

TEST(ColorPresets, AreTheElevenBuiltIn) {
  struct Row {
    float curve;
    bool invert;
    std::vector<std::pair<int, bool>> maps;
  };
  const Row rows[] = {{1.0f, false, {{0, false}}},
                      {1.0f, true, {{0, false}}},
                      {1.25f, false, {{3, false}}},
                      {1.25f, false, {{22, false}}},
                      {1.25f, false, {{14, false}}},
                      {1.25f, false, {{39, false}}},
                      {0.85f, false, {{0, true}, {3, false}}},
                      {0.85f, false, {{0, true}, {22, false}}},
                      {0.85f, false, {{0, true}, {9, false}}},
                      {0.85f, false, {{9, true}, {3, false}}},
                      {0.85f, false, {{0, true}, {39, false}}}};
  LogCapture log;
  std::vector<ColorPreset> presets;
  loadColorPresets(presets);
  EXPECT_EQ(log.count("<loadColorPresets> loadColorPresets()"), 1u);
  EXPECT_EQ(log.lines().size(), 1u);
  loadColorPresets(presets);
  EXPECT_EQ(log.count("<loadColorPresets> color presets are already initialized"), 1u);
  ASSERT_EQ(presets.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); i++) {
    EXPECT_EQ(presets[i].curve, rows[i].curve) << i;
    EXPECT_EQ(presets[i].invert, rows[i].invert) << i;
    std::vector<std::pair<int, bool>> maps;
    for (const subMap& map : *presets[i].subMaps) maps.emplace_back(map.index, map.negative);
    EXPECT_EQ(maps, rows[i].maps) << i;
  }
}

TEST(ColorPresets, CopiesAreDeep) {
  ColorPreset from;
  from.curve = 0.85f;
  from.invert = true;
  from.subMaps = std::make_unique<std::vector<subMap>>(2, subMap{7, true});
  ColorPreset to;
  copyColorPreset(from, to);
  from.subMaps->at(0).index = 1;
  ASSERT_TRUE(to.subMaps);
  EXPECT_EQ(to.subMaps->size(), 2u);
  EXPECT_EQ(to.subMaps->at(0).index, 7);
  EXPECT_EQ(to.curve, 0.85f);
  EXPECT_TRUE(to.invert);

  LogCapture log;
  copyColorPreset(ColorPreset{}, to);
  EXPECT_EQ(log.count("<copyColorPreset> empty input vector"), 1u);
  EXPECT_EQ(to.subMaps->size(), 2u);
}

TEST(ToneCurve, HoldsTheTabulatedPowers) {
  struct Row {
    float exponent;
    std::size_t level;
    int expected;
  };
  // Computed with 50 digits.
  const Row rows[] = {{0.85f, 0, 0},         {0.85f, 1, 5},         {0.85f, 255, 586},
                      {0.85f, 16384, 20171}, {0.85f, 32768, 36358}, {0.85f, 65534, 65534},
                      {1.25f, 0, 0},         {1.25f, 2, 1},         {1.25f, 256, 192},
                      {1.25f, 16384, 12718}, {1.25f, 32768, 26568}, {1.25f, 65533, 65508},
                      {1.25f, 65534, 65519}};
  ToneCurve curve;
  for (const float exponent : {1.25f, 0.85f}) {
    curve.select(exponent);
    for (const Row& row : rows) {
      if (row.exponent != exponent) continue;
      EXPECT_EQ(exponent < 1.0f ? curve.lower()[row.level] : curve.upper()[row.level], row.expected)
          << exponent << " " << row.level;
    }
  }
  EXPECT_EQ(curve.apply(0), 0);
  EXPECT_EQ(curve.apply(65535), 65535);
}

/// The steps of one pixel, one after the other.
rgb_24b stepByStep(std::uint16_t v, const ColorPreset& preset, const ToneCurve& curve, const colorMap& map,
                   bool negation) {
  if (v >= 1 && v <= 65534) {
    if (preset.curve < 1.0f) {
      v = curve.lower()[v];
    } else if (preset.curve > 1.0f) {
      v = curve.upper()[v];
    }
  }
  if (preset.invert) v = static_cast<std::uint16_t>(65535 - v);
  rgb_24b color = map.lookup[v];
  if (negation) {
    for (std::uint8_t* byte : {&color.r, &color.g, &color.b}) *byte = static_cast<std::uint8_t>(255 - *byte);
  }
  return color;
}

TEST_F(PaletteTest, ComposedTableEqualsTheSingleSteps) {
  std::vector<ColorPreset> presets;
  loadColorPresets(presets);
  Palette palette;
  for (const bool negation : {false, true}) {
    palette.setNegation(negation);
    for (std::size_t index = 0; index < presets.size(); index++) {
      ASSERT_TRUE(palette.select(static_cast<int>(index)));
      ToneCurve curve;
      curve.select(presets[index].curve);
      colorMap map;
      std::vector<std::string> names;
      map.combineColorMaps(presets[index], names);
      MutexLock lock(palette.colourMutex);
      for (std::uint32_t level = 0; level < 65536; level++) {
        ASSERT_EQ(palette.table()[level],
                  stepByStep(static_cast<std::uint16_t>(level), presets[index], curve, map, negation))
            << "preset " << index << " level " << level << " negation " << negation;
      }
      const bool inverted = std::exchange(presets[index].invert, false);
      for (const std::size_t i : {0u, 100u, 255u}) {
        const auto level = static_cast<std::uint16_t>(Palette::kColorStep * i);
        EXPECT_EQ(palette.plainColors()[i], stepByStep(level, presets[index], curve, map, false)) << index;
      }
      presets[index].invert = inverted;
    }
  }
}

TEST_F(PaletteTest, EndsOfTheRangeBypassTheCurve) {
  Palette palette;
  palette.select(1);
  EXPECT_EQ(colorOf(palette, 0), kWhite);
  EXPECT_EQ(colorOf(palette, 65535), kBlack);
  palette.setNegation(true);
  EXPECT_EQ(colorOf(palette, 0), kBlack);  // the complement of the lookup's last entry
  palette.setNegation(false);
  palette.select(2);
  EXPECT_EQ(colorOf(palette, 65535), kWhite);  // entry 65535 of the curve table would send it to black
  palette.select(6);
  EXPECT_EQ(colorOf(palette, 0), kWhite);
  EXPECT_EQ(colorOf(palette, 65535), kWhite);
}

TEST_F(PaletteTest, SelectionIsReported) {
  Palette palette;
  EXPECT_EQ(palette.index(), 0);
  struct Row {
    int index, first, second;
    bool single;
    float curve;
    bool invert;
  };
  // The second index keeps its value when a preset has one map only.
  for (const Row& row : {Row{9, 9, 3, false, 0.85f, false}, Row{4, 14, 3, true, 1.25f, false},
                         Row{1, 0, 3, true, 1.0f, true}}) {
    ASSERT_TRUE(palette.select(row.index));
    const PaletteSelection selection = palette.selection();
    EXPECT_EQ(selection.index, row.index);
    EXPECT_EQ(selection.firstMap, row.first);
    EXPECT_EQ(selection.secondMap, row.second);
    EXPECT_EQ(selection.singleMap, row.single);
    EXPECT_EQ(selection.curve, row.curve);
    EXPECT_EQ(selection.invert, row.invert);
  }
}

TEST_F(PaletteTest, IndexOutOfRangeChangesNothing) {
  Palette palette;
  palette.select(2);
  const rgb_24b before = colorOf(palette, 20000);
  for (const int index : {11, -1, 2147483647, -2147483647 - 1}) {
    LogCapture log;
    EXPECT_FALSE(palette.select(index));
    EXPECT_EQ(log.count("> color preset index #" + std::to_string(index) + " is out of range"), 1u);
    EXPECT_EQ(palette.index(), 2);
    EXPECT_EQ(colorOf(palette, 20000), before);
  }
}

TEST_F(PaletteTest, AdjustmentRebuildsTheColours) {
  Palette palette;
  palette.setAdjustment(0.0f, 1.0f);  // before any selection: kept for later
  palette.select(4);
  const rgb_24b gray = colorOf(palette, 20000);
  EXPECT_TRUE(gray.r == gray.g && gray.g == gray.b);
  palette.setAdjustment(1.0f, std::nanf(""));
  EXPECT_EQ(colorOf(palette, 20000), gray);
  palette.setAdjustment(0.0f, 0.5f);
  EXPECT_GT(colorOf(palette, 20000).r, gray.r);
  palette.setAdjustment(1.0f, 1.0f);
  EXPECT_NE(colorOf(palette, 20000), gray);
}

TEST_F(PaletteTest, PaintersNeverSeeHalfASelection) {
  Palette palette;
  palette.select(0);
  std::atomic<bool> done{false};
  std::thread selector([&] {
    for (int i = 0; i < 40; i++) palette.select(i % 2);
    done = true;
  });
  int looks = 0;
  while (!done || looks == 0) {
    MutexLock lock(palette.colourMutex);
    const bool inverted = palette.table()[0] == kWhite;
    ASSERT_EQ(palette.table()[65535], inverted ? kBlack : kWhite);
    ASSERT_EQ(palette.table()[30000].r, inverted ? (65535 - 30000) / 256 : 30000 / 256);
    looks++;
  }
  selector.join();
}

}  // namespace
