#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "processing/kernels/columnStripes.h"
#include "processing/kernels/medianMagnitude.h"
#include "processing/kernels/stripes.h"

namespace {

using Levels = std::vector<std::uint16_t>;

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

// Of an image's 8 segments of 8 or 9 rows: the vote of an eighth of them counts, that of one row less
// does not.
TEST(StripeKernels, AnEighthOfTheRowsDecides) {
  for (const auto& [rows, enough] : {std::pair{8, 1}, {9, 2}}) {
    for (const int voters : {enough - 1, enough}) {
      kernels::ColumnVotes votes;
      votes.allocate(17);
      for (std::size_t s = 0; s < 8; ++s)
        votes.voters[17 * s + 8] = voters, votes.sums[17 * s + 8] = 34 * voters;
      kernels::StripeOffsets offsets;
      offsets.allocate(17);
      std::vector<float> profile(17), sums(17);
      kernels::measureColumnOffsets(votes, static_cast<std::uint32_t>(8 * rows), profile, sums, offsets);
      // Nine columns of 34, less their mean over all 17.
      EXPECT_FLOAT_EQ(offsets.remaining(8, 0, 80), voters < enough ? 0.0f : 16.0f) << rows << ' ' << voters;
    }
  }
}

// 1023 levels from one column to the next, in the 128 rows of each segment.
TEST(StripeKernels, TheLargestVotesOfManyRowsAddUp) {
  Levels levels(17 * 1024);
  for (std::size_t i = 0; i < levels.size(); ++i) levels[i] = i % 17 < 9 ? 20000 : 21023;
  kernels::ColumnVotes votes;
  votes.allocate(17);
  kernels::sumColumnVotes({levels.data(), 17, 1024}, {1023, 1023}, {0, 8}, votes);
  EXPECT_TRUE(votes.sums[9] == 128 * 1023 && votes.voters[9] == 128) << votes.sums[9];
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

}  // namespace
