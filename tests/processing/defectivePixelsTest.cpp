#include "processing/kernels/defectivePixels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
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

/// The rule as it reads: search the list, repair, drop the pixel from the list. Returns all neighbours used.
List repairPlainly(image<unsigned short>& p, List list, bool blank) {
  List recorded;
  const auto within = [&p](int x, int y) { return x >= 0 && y >= 0 && x < p.width && y < p.height; };
  if (list.size() > 65535) list.resize(65535);
  for (; !list.empty(); list.erase(list.begin())) {
    const auto [x, y] = list.front();
    if (!within(x, y)) continue;
    std::uint32_t sum = 0, count = 0;
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) {
        const std::pair<int, int> neighbour{x + dx, y + dy};
        if ((dx == 0 && dy == 0) || !within(x + dx, y + dy)) continue;
        if (std::find(list.begin(), list.end(), neighbour) != list.end()) continue;
        recorded.push_back(neighbour);
        const std::uint16_t level =
            p.view().at(static_cast<std::uint32_t>(x + dx), static_cast<std::uint32_t>(y + dy));
        if (level == 0 || level == 16383) continue;
        sum += level;
        ++count;
      }
    }
    if (count == 0) continue;
    p.data[y * p.width + x] =
        blank ? std::uint16_t{0}
              : static_cast<std::uint16_t>(static_cast<float>(sum) / static_cast<float>(count));
  }
  return recorded;
}

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

// Clusters, duplicates and places outside, at several densities, against the search of the list.
TEST(DefectivePixels, MatchesTheSearchOfTheList) {
  std::mt19937 random(3);
  const std::pair<int, int> sizes[] = {{1, 1}, {3, 2}, {17, 11}, {33, 7}, {80, 60}};
  for (const auto& [width, height] : sizes) {
    for (const int share : {1, 3, 20}) {
      List list;
      for (int i = 0; i <= width * height / share; ++i) {
        list.emplace_back(static_cast<int>(random() % static_cast<unsigned>(width + 2)) - 1,
                          static_cast<int>(random() % static_cast<unsigned>(height + 2)) - 1);
      }
      neighbourTable table;
      for (const bool blank : {false, true, false}) {
        image<unsigned short> p(static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height));
        for (std::size_t i = 0; i < p.pixelCount(); ++i) {
          const std::uint16_t levels[] = {0, 16383, 65535, static_cast<std::uint16_t>(random() % 9000)};
          p.data[i] = levels[random() % 4];
        }
        auto expected = picture(p.width, p.height, pixelsOf(p));
        const List neighbours = repairPlainly(expected, list, blank);
        correctDefectivePixels(p, table.built ? List{} : list, blank, table);
        EXPECT_EQ(pixelsOf(p), pixelsOf(expected)) << width << " x " << height << ", " << list.size();
        EXPECT_EQ(table.neighbours, neighbours);
      }
    }
  }
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
