#include <gtest/gtest.h>

#include "tools/common/contactSheet.h"
#include "tools/common/imageFiles.h"

namespace {

using tools::Picture;

TEST(LevelBounds, IgnoreDefectsByRank) {
  std::vector<std::uint32_t> counts(65536);
  counts[0] = 1;  // a dead pixel
  for (std::size_t level = 5001; level <= 5998; ++level) counts[level] = 1;
  counts[16383] = 1;  // one at full scale
  const auto [low, high] = tools::levelBounds(counts, 0.01, 0.99);
  EXPECT_EQ(low, 5009);   // rank truncate(0.01 * 999) = 9
  EXPECT_EQ(high, 5989);  // rank truncate(0.99 * 999) = 989
  EXPECT_EQ(tools::levelBounds(counts, 0.0, 1.0), std::make_pair(std::uint16_t{0}, std::uint16_t{16383}));
  EXPECT_EQ(tools::levelBounds(std::vector<std::uint32_t>(65536), 0.01, 0.99).second, 65535);
}

TEST(StretchLinear, SaturatesOutsideItsBounds) {
  const Picture picture = tools::stretchLinear({0, 100, 150, 200, 9999}, 5, 1, 100, 200);
  const int expected[] = {0, 0, 127, 255, 255};
  for (std::size_t i = 0; i < 5; ++i)
    EXPECT_EQ(picture.pixels[i],
              (rgb_24b{static_cast<std::uint8_t>(expected[i]), static_cast<std::uint8_t>(expected[i]),
                       static_cast<std::uint8_t>(expected[i])}))
        << i;
  EXPECT_EQ(tools::stretchLinear({7, 8}, 2, 1, 7, 7).pixels[1].r, 255);  // no span: nothing is divided by 0
}

TEST(ContactSheet, BringsPicturesToOneWidth) {
  // 2 x 1 enlarged to four columns, 8 x 4 reduced by the mean of its 2 x 2 blocks; gaps of 8, white.
  const Picture small{2, 1, {{10, 0, 0}, {20, 0, 0}}};
  Picture large{8, 4, std::vector<rgb_24b>(32)};
  large.pixels[0] = {4, 8, 12};
  large.pixels[9] = {8, 0, 0};  // (1, 1), in the same block
  const Picture sheet = tools::contactSheet({{small, small}, {large, large}}, 4);
  ASSERT_EQ(sheet.width, 2 * 4 + 3 * 8u);
  ASSERT_EQ(sheet.height, 8 + 2 + 8 + 2 + 8u);
  EXPECT_EQ(sheet.view().at(8, 8).r, 10);
  EXPECT_EQ(sheet.view().at(9, 9).r, 10);
  EXPECT_EQ(sheet.view().at(10, 8).r, 20);
  EXPECT_EQ(sheet.view().at(20 + 2, 8).r, 20);
  EXPECT_EQ(sheet.view().at(8, 18), (rgb_24b{3, 2, 3}));  // (4+8)/4, 8/4, 12/4
  EXPECT_EQ(sheet.view().at(0, 0), (rgb_24b{255, 255, 255}));
}

TEST(PictureFiles, FailuresNameFileAndReason) {
  const std::vector<std::uint16_t> levels(4);
  const std::string error = tools::writePgm("/nonexistent/a.pgm", {levels.data(), 2, 2});
  EXPECT_EQ(error, "cannot write '/nonexistent/a.pgm': No such file or directory");
}

}  // namespace
