#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

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
