#include "presentation/hsvAdjustment.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

TEST(HsvAdjustment, FactorsOfOneGiveTheColourBackButForTruncation) {
  const auto close = [](int before, int after) { return after == before || after == before - 1; };
  for (int r = 0; r < 256; r += 5) {
    for (int g = 0; g < 256; g += 3) {
      for (int b = 0; b < 256; b += 5) {
        const rgb_24b in{static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g),
                         static_cast<std::uint8_t>(b)};
        const rgb_24b out = adjustColor(in, 1.0f, 1.0f).color;
        ASSERT_TRUE(close(r, out.r) && close(g, out.g) && close(b, out.b)) << r << " " << g << " " << b;
        ASSERT_EQ(std::max({in.r, in.g, in.b}), std::max({out.r, out.g, out.b})) << r << " " << g << " " << b;
      }
    }
  }
}

struct Case {
  const char* what;
  rgb_24b in;
  float saturation;
  float brightness;
  rgb_24b out;
};

TEST(HsvAdjustment, FollowsHandComputedCases) {
  // 200, 100, 50 has saturation 0.75 and lies a third into its sextant. The float factor 0.6 is a little more
  // than 0.6, so 140 and 110 truncate to 139 and 109.
  const Case cases[] = {
      {"sextant 0", {200, 100, 50}, 0.6f, 1.0f, {200, 139, 109}},
      {"sextant 1", {100, 200, 50}, 0.6f, 1.0f, {139, 200, 109}},
      {"sextant 2", {50, 200, 100}, 0.6f, 1.0f, {109, 200, 139}},
      {"sextant 3", {50, 100, 200}, 0.6f, 1.0f, {109, 139, 200}},
      {"sextant 4", {100, 50, 200}, 0.6f, 1.0f, {139, 109, 200}},
      {"sextant 5", {200, 50, 100}, 0.6f, 1.0f, {200, 109, 139}},
      {"no saturation", {200, 100, 50}, 0.0f, 1.0f, {200, 200, 200}},
      {"negative saturation", {200, 100, 50}, -1.0f, 1.0f, {200, 200, 200}},
      {"more than full saturation stays in range", {200, 100, 50}, 2.0f, 1.0f, {200, 0, 0}},
      {"black", {0, 0, 0}, 3.0f, 0.5f, {0, 0, 0}},
      {"brighter: sqrt(64/255)*255 = 127.7", {64, 64, 64}, 1.0f, 0.5f, {127, 127, 127}},
      {"brighter keeps the proportions", {64, 16, 16}, 1.0f, 0.5f, {127, 31, 31}},
      {"darker: (1-sqrt(191/255))*255 = 34.3", {64, 64, 64}, 1.0f, 1.5f, {34, 34, 34}},
      {"white stays white", {255, 255, 255}, 1.0f, 1.5f, {255, 255, 255}},
      {"exponent 2 leaves only white", {254, 254, 254}, 1.0f, 2.0f, {0, 0, 0}},
      {"exponents above 2 stay in range", {200, 200, 200}, 1.0f, 3.0f, {0, 0, 0}},
      {"negative exponents stay in range", {64, 64, 64}, 1.0f, -2.0f, {255, 255, 255}},
      {"not a number", {200, 100, 50}, kNaN, 1.0f, {200, 0, 0}},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(adjustColor(test.in, test.saturation, test.brightness).color, test.out) << test.what;
  }
}

TEST(HsvAdjustment, ReportsHueSaturationAndValue) {
  const HsvColor blueish = adjustColor({100, 50, 200}, 0.5f, 1.0f).hsv;
  EXPECT_FLOAT_EQ(blueish.hue, 260.0f);  // a third into sextant 4
  EXPECT_FLOAT_EQ(blueish.saturation, 0.375f);
  EXPECT_FLOAT_EQ(blueish.value, 200.0f);
  EXPECT_FLOAT_EQ(adjustColor({200, 50, 100}, 1.0f, 1.0f).hsv.hue, 340.0f);  // -20 + 360
  EXPECT_FLOAT_EQ(adjustColor({7, 7, 7}, 1.0f, 1.0f).hsv.hue, 0.0f);
}

}  // namespace
