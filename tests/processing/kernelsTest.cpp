#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "common/image.h"
#include "processing/StageClock.h"
#include "processing/kernels/demonstrations.h"
#include "processing/kernels/frameMeasurement.h"
#include "processing/kernels/levelShift.h"
#include "processing/kernels/linearMapping.h"

namespace {

using Levels = std::vector<std::uint16_t>;
using Counts = std::vector<std::uint32_t>;

struct Size {
  std::uint16_t width;
  std::uint16_t height;
};
constexpr Size kAwkwardSizes[] = {{1, 1}, {7, 3}, {1, 41}, {33, 17}, {131, 9}};

kernels::CountBanks banks;

image<unsigned short> pictureOf(const Levels& levels, Size size) {
  image<unsigned short> picture(size.width, size.height);
  for (std::size_t i = 0; i < picture.pixelCount(); ++i) picture.data[i] = levels[i % levels.size()];
  return picture;
}

Levels pixelsOf(const image<unsigned short>& picture) {
  return {picture.data, picture.data + picture.pixelCount()};
}

/// Noise in which the extremes 0, 16383 and 65535 come up often, so that ties and saturation are met.
image<unsigned short> noise(Size size, unsigned seed) {
  std::mt19937 random(seed);
  image<unsigned short> picture(size.width, size.height);
  for (std::size_t i = 0; i < picture.pixelCount(); ++i) {
    const std::uint16_t extremes[] = {0, 16383, 65535, static_cast<std::uint16_t>(random() % 65536)};
    picture.data[i] = extremes[random() % 4];
  }
  return picture;
}

TEST(FrameMeasurement, MatchesThePlainLoop) {
  Counts histogram(kLevels, 99);
  for (const Size size : kAwkwardSizes) {
    for (unsigned seed = 0; seed < 8; ++seed) {
      const auto picture = noise(size, seed);
      const auto measured = kernels::measureFrame(picture.view(), LevelCounts{histogram}, banks);

      Counts expectedHistogram(kLevels);
      kernels::LevelAt low{picture.data[0], 0, 0};
      kernels::LevelAt high = low;
      float sum = 0.0f;
      for (std::uint32_t y = 0; y < size.height; ++y) {
        for (std::uint32_t x = 0; x < size.width; ++x) {
          const std::uint16_t level = picture.data[y * size.width + x];
          if (level < low.level) low = {level, x, y};
          if (level > high.level) high = {level, x, y};
          sum += static_cast<float>(level);
          ++expectedHistogram[level];
        }
      }
      EXPECT_EQ(measured.minimum.level, low.level);
      EXPECT_EQ(measured.minimum.x, low.x);
      EXPECT_EQ(measured.minimum.y, low.y);
      EXPECT_EQ(measured.maximum.level, high.level);
      EXPECT_EQ(measured.maximum.x, high.x);
      EXPECT_EQ(measured.maximum.y, high.y);
      EXPECT_EQ(measured.mean, static_cast<std::uint16_t>(sum / static_cast<float>(picture.pixelCount())));
      EXPECT_EQ(histogram, expectedHistogram);
    }
  }
}

// Levels that lie half-way between the values a sum can take are rounded to the even side, which depends on
// the sum so far; multiples of 32 are such halves all the way up to sums of 2^30.
TEST(FrameMeasurement, MeanFollowsTheSequentialSumThroughTies) {
  Counts histogram(kLevels);
  std::mt19937 random(5);
  for (int round = 0; round < 60; ++round) {
    image<unsigned short> picture(static_cast<std::uint16_t>(1 + random() % 700),
                                  static_cast<std::uint16_t>(1 + random() % 500));
    const unsigned spacing = 1u << random() % 12, base = static_cast<unsigned>(random() % 65536);
    float sum = 0.0f;
    for (std::size_t i = 0; i < picture.pixelCount(); ++i) {
      picture.data[i] = static_cast<std::uint16_t>((base + random() % 1024) / spacing * spacing);
      sum += static_cast<float>(picture.data[i]);
    }
    const auto mean = static_cast<std::uint16_t>(sum / static_cast<float>(picture.pixelCount()));
    ASSERT_EQ(kernels::measureFrame(picture.view(), LevelCounts{histogram}, banks).mean, mean);
  }
}

TEST(LinearMapping, MatchesThePlainLoop) {
  const struct {
    std::uint16_t low;
    std::uint16_t high;
  } bounds[] = {{0, 65535}, {0, 16383}, {16383, 65535}, {7000, 7001}, {3000, 3011}, {65534, 65535}, {0, 1}};
  Counts counts(kLevels, 99), histogram(kLevels);
  for (const Size size : kAwkwardSizes) {
    for (const auto& b : bounds) {
      auto picture = noise(size, b.high);
      kernels::measureFrame(picture.view(), LevelCounts{histogram}, banks);
      Levels expected = pixelsOf(picture);
      Counts expectedCounts(kLevels);
      const float scale = 65535.0f / static_cast<float>(b.high - b.low);
      for (std::uint16_t& level : expected) {
        const int d = level - b.low < 1 ? 0 : level - b.low;
        const float r = static_cast<float>(d) * scale;
        level = level >= b.high || !(r < 65535.0f) ? std::uint16_t{65535} : static_cast<std::uint16_t>(r);
        ++expectedCounts[level];
      }
      kernels::mapLinear(picture.view(), b.low, b.high);
      kernels::countLinear(ConstLevelCounts{histogram}, 0, b.low, b.high, LevelCounts{counts});
      EXPECT_EQ(pixelsOf(picture), expected) << b.low << ".." << b.high;
      EXPECT_EQ(counts, expectedCounts) << b.low << ".." << b.high;
    }
  }
}

TEST(LinearMapping, BoundsMapToTheEndsForEverySpan) {
  for (std::uint32_t span = 1; span <= 65535; span += span < 64 ? 1 : 977) {
    const auto high = static_cast<std::uint16_t>(span);
    auto picture = pictureOf({0, high}, {2, 1});
    kernels::mapLinear(picture.view(), 0, high);
    EXPECT_EQ(pixelsOf(picture), (Levels{0, 65535})) << span;
  }
}

TEST(ValueTable, EmptyEntriesTakeTheOneBefore) {
  Counts counts(kLevels);
  counts[2] = 4;
  counts[5] = 1;
  counts[65534] = 9;
  Counts filled(kLevels, 99);
  kernels::fillGaps(ConstLevelCounts{counts}, LevelCounts{filled});
  EXPECT_EQ(Counts(filled.begin(), filled.begin() + 7), (Counts{0, 0, 4, 4, 4, 1, 1}));
  EXPECT_EQ(filled[65533], 1u);
  EXPECT_EQ(filled[65534], 9u);
  EXPECT_EQ(filled[65535], 9u);

  counts[0] = 3;
  kernels::fillGaps(ConstLevelCounts{counts}, LevelCounts{filled});
  EXPECT_EQ(filled[1], 3u);
}

TEST(LevelShift, Saturates) {
  const Levels before{0, 49, 50, 51, 16383, 65485, 65486, 65535};
  auto up = pictureOf(before, {8, 1});
  kernels::shiftLevels(up.view(), 50);
  EXPECT_EQ(pixelsOf(up), (Levels{50, 99, 100, 101, 16433, 65535, 65535, 65535}));
  auto down = pictureOf(before, {8, 1});
  kernels::shiftLevels(down.view(), -50);
  EXPECT_EQ(pixelsOf(down), (Levels{0, 0, 0, 1, 16333, 65435, 65436, 65485}));
}

TEST(Demonstrations, LeftHalfLeavesTheMiddleColumnOfAnOddWidth) {
  const auto left = pictureOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {5, 2});
  auto picture = pictureOf({90}, {5, 2});
  kernels::showLeftHalf(left.view(), picture.view());
  EXPECT_EQ(pixelsOf(picture), (Levels{1, 2, 90, 90, 90, 6, 7, 90, 90, 90}));
}

TEST(StageClock, CountsWholeMicroseconds) {
  const StageClock::Clock::time_point start{};
  EXPECT_EQ(StageClock::elapsedMs(start, start + std::chrono::nanoseconds(1999999)), 1.999f);
  EXPECT_EQ(StageClock::elapsedMs(start, start + std::chrono::nanoseconds(999)), 0.0f);
}

}  // namespace
