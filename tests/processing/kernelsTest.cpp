#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "common/image.h"
#include "processing/StageClock.h"
#include "processing/kernels/demonstrations.h"
#include "processing/kernels/frameMeasurement.h"
#include "processing/kernels/linearMapping.h"

namespace {

// Levels that lie half-way between the values a sum can take are rounded to the even side, which depends on
// the sum so far; multiples of 32 are such halves all the way up to sums of 2^30. The last pixel is set to
// the least level that raises the mean, then one below: the next sum up or down would give another mean.
TEST(FrameMeasurement, MeanFollowsTheSequentialSumThroughTies) {
  kernels::CountBanks banks;
  std::vector<std::uint32_t> histogram(kLevels);
  std::mt19937 random(5);
  for (int round = 0; round < 300; ++round) {
    image<unsigned short> picture(static_cast<std::uint16_t>(1 + random() % 255),
                                  static_cast<std::uint16_t>(1 + random() % 255));
    const unsigned spacing = 1u << random() % 12, base = static_cast<unsigned>(random() % 65536);
    const std::size_t last = picture.pixelCount() - 1;
    float sum = 0.0f;
    for (std::size_t i = 0; i < last; ++i) {
      picture.data[i] = static_cast<std::uint16_t>((base + random() % 1024) / spacing * spacing);
      sum += static_cast<float>(picture.data[i]);
    }
    const auto meanWith = [&](int level) {
      return static_cast<int>((sum + static_cast<float>(level)) / static_cast<float>(last + 1));
    };
    int level = 1;
    while (level < 65535 && meanWith(level) == meanWith(0)) ++level;
    for (const int end : {level, level - 1}) {
      picture.data[last] = static_cast<std::uint16_t>(end);
      ASSERT_EQ(kernels::measureFrame(picture.view(), LevelCounts{histogram}, banks).mean, meanWith(end));
    }
  }
}

TEST(LinearMapping, BoundsMapToTheEndsForEverySpan) {
  for (std::uint32_t span = 1; span <= 65535; span += span < 64 ? 1 : 977) {
    const auto high = static_cast<std::uint16_t>(span);
    std::uint16_t ends[] = {0, high};
    kernels::mapLinear({ends, 2, 1}, 0, high);
    EXPECT_TRUE(ends[0] == 0 && ends[1] == 65535) << span;
  }
}

TEST(Demonstrations, LeftHalfLeavesTheMiddleColumnOfAnOddWidth) {
  const std::uint16_t left[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  std::vector<std::uint16_t> picture(10, 90);
  kernels::showLeftHalf({left, 5, 2}, {picture.data(), 5, 2});
  EXPECT_EQ(picture, (std::vector<std::uint16_t>{1, 2, 90, 90, 90, 6, 7, 90, 90, 90}));
}

TEST(Demonstrations, TheTestPatternStartsAgainBeyondFullScale) {
  image<unsigned short> picture(2, 1200);
  kernels::drawTestPattern(picture.view(), 127);  // 63 * 1024 in the first row, and 64 * 1024 more
  for (const std::uint32_t y : {0u, 1023u, 1024u, 1025u, 1199u}) {
    EXPECT_EQ(picture.view().at(0, y), 64512) << y;
    EXPECT_EQ(picture.view().at(1, y), y < 1024 ? 64512 + y : y - 1024) << y;
  }
}

TEST(StageClock, CountsWholeMicroseconds) {
  const StageClock::Clock::time_point start{};
  EXPECT_EQ(StageClock::elapsedMs(start, start + std::chrono::nanoseconds(1999999)), 1.999f);
  EXPECT_EQ(StageClock::elapsedMs(start, start + std::chrono::nanoseconds(999)), 0.0f);
}

}  // namespace
