#include "processing/kernels/defectivePixels.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using Levels = std::vector<std::uint16_t>;
using List = std::vector<std::pair<int, int>>;

image<unsigned short> picture(std::uint16_t width, std::uint16_t height, const Levels& levels) {
  image<unsigned short> result(width, height);
  for (std::size_t i = 0; i < result.pixelCount(); ++i) result.data[i] = levels[i % levels.size()];
  return result;
}
Levels pixelsOf(const image<unsigned short>& p) { return {p.data, p.data + p.pixelCount()}; }

TEST(DefectivePixels, MeanOfTheUsableNeighbours) {
  struct Case {
    Levels levels;  // 3 x 3 around the defect
    bool blank;
    std::uint16_t expected;
  };
  const Case cases[] = {
      {{0, 10, 0, 11, 999, 12, 16383, 0, 0}, false, 11},
      {{0, 10, 0, 16383, 999, 11, 0, 0, 0}, false, 10},  // 10.5
      {{0, 16383, 0, 0, 999, 16383, 0, 0, 0}, false, 999},
      {{0, 16383, 0, 0, 999, 16383, 0, 0, 0}, true, 999},
      {{0, 10, 0, 0, 999, 0, 0, 0, 0}, true, 0},
      {Levels(9, 65535), false, 65535},
  };
  for (const Case& c : cases) {
    neighbourTable table;
    for (int pass = 0; pass < 2; ++pass) {  // the second one reads the table; its list does not matter
      auto p = picture(3, 3, c.levels);
      correctDefectivePixels(p, pass == 0 ? List{{1, 1}} : List{{0, 0}}, c.blank, table);
      Levels expected = c.levels;
      expected[4] = c.expected;
      EXPECT_EQ(pixelsOf(p), expected) << c.expected << " in pass " << pass;
    }
  }
}

TEST(DefectivePixels, CornersAndOrderOfTheList) {
  // A and B adjacent: A without B, B with the repaired A. 1 x 4: 100 A B 400.
  auto strip = picture(4, 1, {100, 7, 9, 400});
  neighbourTable table;
  correctDefectivePixels(strip, {{1, 0}, {2, 0}}, false, table);
  EXPECT_EQ(pixelsOf(strip), (Levels{100, 100, 250, 400}));
  strip = picture(4, 1, {100, 7, 9, 400});
  neighbourTable reversed;
  correctDefectivePixels(strip, {{2, 0}, {1, 0}}, false, reversed);
  EXPECT_EQ(pixelsOf(strip), (Levels{100, 250, 400, 400}));

  auto corner = picture(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  neighbourTable corners;
  correctDefectivePixels(corner, {{0, 0}, {2, 2}}, false, corners);
  EXPECT_EQ(corner.data[0], 3);  // (2 + 4 + 5) / 3
  EXPECT_EQ(corner.data[8], 6);  // (5 + 6 + 8) / 3
  ASSERT_EQ(corners.entries.size(), 2u);
  const auto first = corners.neighboursOf(corners.entries[0]);
  EXPECT_EQ(List(first.begin(), first.end()), (List{{1, 0}, {0, 1}, {1, 1}}));
}

TEST(DefectivePixels, EntriesOutsideTheImageAreIgnored) {
  const int least = -2147483647 - 1;
  const List outside{{-1, 0}, {0, -1}, {2, 0}, {0, 2}, {least, least}, {2147483647, 1}};
  auto p = picture(2, 2, {10, 20, 30, 40});
  neighbourTable table;
  correctDefectivePixels(p, outside, false, table);
  EXPECT_EQ(pixelsOf(p), (Levels{10, 20, 30, 40}));
  EXPECT_TRUE(table.built && table.entries.empty());
  neighbourTable unused;
  correctDefectivePixels(p, {}, false, unused);
  EXPECT_FALSE(unused.built);  // a list that is loaded later still counts
}

TEST(DefectivePixels, OnlyTheFirst65535EntriesCount) {
  auto p = picture(3, 1, {5, 6, 7});
  List list(65535, {0, 0});
  list.emplace_back(2, 0);
  neighbourTable table;
  correctDefectivePixels(p, list, false, table);
  EXPECT_EQ(pixelsOf(p), (Levels{6, 6, 7}));
  EXPECT_EQ(table.entries.size(), 65535u);
}

}  // namespace
