#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <vector>

#include "common/image.h"
#include "processing/kernels/columnStripes.h"
#include "processing/kernels/medianMagnitude.h"
#include "processing/kernels/rowStripes.h"

namespace {

using Levels = std::vector<std::uint16_t>;

// Levels that meet every side of the gates, against plain loops, for every split.
TEST(StripeKernels, BandsMatchThePlainLoops) {
  const std::pair<std::uint16_t, std::uint16_t> sizes[] = {{1, 1},   {3, 2},    {17, 11}, {80, 60},
                                                           {33, 70}, {29, 301}, {1290, 9}};
  constexpr int S = kernels::kStripeSegments;
  std::mt19937 random(3);
  for (const auto& [width, height] : sizes) {
    image<unsigned short> picture(width, height);
    const int W = width, H = height;
    for (std::size_t i = 0; i < picture.pixelCount(); ++i) {
      const unsigned long levels[] = {0, 65535, 9000 + random() % 40, 9000 + random() % 90};
      picture.data[i] =
          static_cast<std::uint16_t>(levels[random() % 16 < 15 ? 2 + random() % 2 : random() % 2]);
    }
    const auto at = [&](int x, int y) { return int{picture.data[y * W + x]}; };
    kernels::StripeOffsets plain, offsets;
    plain.allocate(height);
    for (int s = 0; s < S; ++s) {
      for (int y = 0; y < H && H >= 5; ++y) {
        const int last = H - 1;
        std::array<int, 4> n{y - 2, y - 1, y + 1, y + 2};
        if (y == 0) n = {1, 2, 1, 2};
        if (y == 1 || y == last - 1) n = {y - 1, y - 1, y + 1, y + 1};
        if (y == last) n = {last - 1, last - 2, last - 1, last - 2};
        int sum = 0, voters = 0;
        for (int x = s * W / S; x < (s + 1) * W / S; ++x) {
          const int a = at(x, n[0]), b = at(x, n[1]), c = at(x, n[2]), d = at(x, n[3]);
          const int before = (a + b + 1) / 2, after = (c + d + 1) / 2;
          if (std::abs(at(x, y) - (before + after + 1) / 2) > 38 || std::abs(before - after) > 30) continue;
          sum += 4 * at(x, y) - a - b - c - d, ++voters;
        }
        if (voters > 0 && 2 * voters >= (s + 1) * W / S - s * W / S)
          plain.segment(static_cast<std::size_t>(s))[static_cast<std::size_t>(y)] =
              static_cast<float>(sum) / (4.0f * static_cast<float>(voters));
      }
    }
    for (const std::uint32_t bands : {1u, 2u, 3u, 7u}) {
      kernels::ColumnVotes votes;
      votes.allocate(width);
      offsets.allocate(height);
      for (std::uint32_t b = 0; b < bands; ++b) {
        kernels::sumColumnVotes(picture.view(), {40, 60}, kernels::rowBand(b, bands, S), votes);
        kernels::measureRowOffsets(picture.view(), {38, 30}, kernels::rowBand(b, bands, height), offsets);
      }
      for (int i = 0; i < S * W; ++i) {
        const int s = i / W, x = i % W;
        int sum = 0, voters = 0;
        for (int y = s * H / S; x > 0 && W >= 17 && y < (s + 1) * H / S; ++y) {
          const int before = at(std::max(x - 4, 0), y), after = at(std::min(x + 3, W - 1), y);
          const int step = at(x, y) - at(x - 1, y);
          const bool level = std::abs(after - before) <= 60 && std::abs(at(x, y) - before) <= 60 &&
                             std::abs(after - at(x - 1, y)) <= 60;
          if (std::abs(step) <= 40 && level) sum += step, ++voters;
        }
        ASSERT_EQ(votes.sums[static_cast<std::size_t>(i)], sum) << W << ' ' << bands << ' ' << i;
        ASSERT_EQ(votes.voters[static_cast<std::size_t>(i)], voters) << W << ' ' << bands << ' ' << i;
      }
      for (std::size_t s = 0; s < S; ++s) {
        const auto said = offsets.segment(s), wanted = plain.segment(s);
        ASSERT_TRUE(std::equal(said.begin(), said.end(), wanted.begin())) << W << ' ' << bands << ' ' << s;
      }
    }
  }
}

// Steps of `high` levels and back on the columns a window is taken from: the plain mean, or the line at a
// side.
TEST(StripeKernels, TheTrendIsThatOf17Columns) {
  for (const std::size_t width : {16u, 60u}) {
    std::vector<float> profile(width), sums(width), stripes(width, 9.0f);
    for (std::size_t x = 0; x < width; ++x) profile[x] = static_cast<float>(3 * x + (x == 9 ? 170 : 0));
    kernels::removeColumnTrend(profile, sums, stripes);
    for (std::size_t x = 0; x < width; ++x) {
      // A slope alone leaves nothing; one column of 170 leaves a mean of 10 where its window is centred.
      if (width == 60 && x < 8) continue;
      const float wanted = width != 60 || x > 17 ? 0.0f : x == 9 ? 160.0f : -10.0f;
      if (width < 17 || width == 60) {
        EXPECT_NEAR(stripes[x], wanted, 1e-3f) << width << ' ' << x;
      }
    }
  }
}

TEST(StripeKernels, OffsetsGoAsFarAsSixSegmentsDo) {
  const struct {
    std::array<float, 8> says;
    float removed, limit, remains;
  } cases[] = {
      {{8, 2, 6, 4, 7, 1, 5, 3}, 0, 80, 4.0f},           // 3 and up: 4.5, but no further than 3 + 1
      {{-9, -9, -9, -9, -9, -9, 90, 90}, 0, 80, -9.0f},  // two that err do not matter
      {{9, 9, 9, 9, 9, 0, 0, 0}, 0, 80, 1.0f},           // three that see nothing do
      {{0, 0, 0, 5, 5, 0, 0, 0}, 4, 80, 0.0f},           // nobody says much: no offset at all
      {{20, 20, 20, 20, 20, 20, 20, 20}, 12, 80, 8.0f}, {{20, 20, 20, 20, 20, 20, 20, 20}, 30, 80, -10.0f},
      {{99, 99, 99, 99, 99, 99, 99, 99}, 0, 80, 80.0f},
  };
  for (const auto& c : cases) {
    kernels::StripeOffsets offsets;
    offsets.allocate(3);
    for (std::size_t s = 0; s < 8; ++s) offsets.segment(s)[1] = c.says[s];
    offsets.sort();
    EXPECT_FLOAT_EQ(offsets.remaining(1, c.removed, c.limit), c.remains) << c.says[0];
    EXPECT_EQ(offsets.remaining(2, c.removed, c.limit), 0.0f);
  }
}

TEST(StripeKernels, TheMedianIsPlacedWithinItsUnit) {
  Levels halves(9000, 65535);
  std::fill_n(halves.begin(), 4500, std::uint16_t{0});
  const struct {
    Levels magnitudes;
    float median;
  } cases[] = {{{}, 0.0f},
               {{0, 0, 0, 0}, 0.25f},
               {{0, 5, 0, 0}, 1.0f / 3.0f},
               {{1, 0, 1, 0, 1}, 0.5f + 1.0f / 6.0f},
               {{9, 2, 1, 2}, 2.0f},
               {{3}, 3.0f},
               {Levels(70000, 7), 7.0f},
               {{65535, 65535}, 65535.0f},
               {halves, 65534.5f}};
  for (const auto& [magnitudes, median] : cases)
    EXPECT_FLOAT_EQ(kernels::medianMagnitude(magnitudes), median) << magnitudes.size();
}

// 32 rows' votes are summed in 16 bits.
TEST(StripeKernels, GatesEndWhereVotesStillAddUp) {
  image<unsigned short> picture(8, 8);
  for (std::size_t i = 0; i < picture.pixelCount(); ++i) picture.data[i] = i % 2 == 0 ? 0 : 65535;
  Levels sample(kernels::stripeSampleSize(8, 8));
  const kernels::StepGates gates = kernels::measureColumnGates(picture.view(), sample);
  EXPECT_EQ(gates.step, 1023);
  EXPECT_EQ(gates.reach, 1023);
}

}  // namespace
