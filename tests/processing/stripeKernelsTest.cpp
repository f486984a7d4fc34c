#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "common/image.h"
#include "processing/kernels/columnStripes.h"
#include "processing/kernels/rowStripes.h"

namespace {

// Levels that meet every side of the gates, against plain loops, for every split.
TEST(StripeKernels, BandsMatchThePlainLoops) {
  const std::pair<std::uint16_t, std::uint16_t> sizes[] = {{1, 1}, {3, 2}, {17, 11}, {80, 60}, {33, 7}};
  std::mt19937 random(3);
  for (const auto& [width, height] : sizes) {
    image<unsigned short> picture(width, height);
    const int W = width, H = height;
    for (std::size_t i = 0; i < picture.pixelCount(); ++i) {
      const unsigned long levels[] = {0, 65535, 9000 + random() % 40, 9000 + random() % 90};
      picture.data[i] =
          static_cast<std::uint16_t>(levels[random() % 16 < 14 ? 2 + random() % 2 : random() % 2]);
    }
    const auto at = [&](int x, int y) { return int{picture.data[y * W + x]}; };
    for (const std::uint32_t bands : {1u, 2u, 3u, 7u}) {
      kernels::ColumnSteps steps;
      steps.allocate(width);
      std::vector<float> offsets(height, 99.0f);
      for (std::uint32_t b = 0; b < bands; ++b) {
        kernels::sumColumnSteps(picture.view(), {40, 30}, kernels::rowBand(b, bands, width), steps);
        kernels::measureRowOffsets(picture.view(), 150, kernels::rowBand(b, bands, height), offsets);
      }
      for (int x = 0; x < W; ++x) {
        int sum = 0, voters = 0;
        for (int y = 0; x > 0 && W >= 17 && y < H; ++y) {
          const int step = at(x, y) - at(x - 1, y);
          const int reach = at(std::min(x + 3, W - 1), y) - at(std::max(x - 4, 0), y);
          if (std::abs(step) <= 40 && std::abs(reach) <= 30) sum += step, ++voters;
        }
        EXPECT_EQ(steps.sums[static_cast<std::size_t>(x)], sum) << W << ' ' << bands << ' ' << x;
        EXPECT_EQ(steps.voters[static_cast<std::size_t>(x)], voters) << W << ' ' << bands << ' ' << x;
      }
      for (int y = 2; y < H - 2; ++y) {
        int sum = 0, voters = 0;
        for (int x = 0; x < W; ++x) {
          const int d = 4 * at(x, y) - at(x, y - 2) - at(x, y - 1) - at(x, y + 1) - at(x, y + 2);
          if (std::abs(d) <= 150) sum += d, ++voters;
        }
        const double mean = 2 * voters < W ? 0.0 : sum / (4.0 * voters);
        EXPECT_EQ(offsets[static_cast<std::size_t>(y)], std::clamp(static_cast<float>(mean), -60.0f, 60.0f));
      }
    }
  }
}

}  // namespace
