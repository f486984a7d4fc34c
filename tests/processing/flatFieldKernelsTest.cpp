#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "processing/kernels/flatFieldTables.h"
#include "processing/kernels/polynomialFlatField.h"

namespace {

using Levels = std::vector<std::uint16_t>;
using Sums = std::vector<std::uint32_t>;

ImageView<const std::uint32_t> row(const Sums& sums) {
  return {sums.data(), static_cast<std::uint32_t>(sums.size()), 1};
}
ImageView<std::uint16_t> row(Levels& levels) {
  return {levels.data(), static_cast<std::uint32_t>(levels.size()), 1};
}

TEST(FlatFieldTables, OffsetIsTheLevelOfTheTable) {
  struct Case {
    std::uint16_t raw;
    std::uint32_t sum, target;
    std::uint16_t frames, expected;
    bool shiftFits;  ///< 16 bits with sign
  };
  const Case cases[] = {
      {8010, 256320, 7900, 32, 7900, true},          // raw equal to the table level
      {8010, 256351, 7900, 32, 7900, true},          // 8010.97: the fraction is dropped
      {8010, 256352, 7900, 32, 7899, true},          //
      {100, 4000000000u, 7900, 32, 0, false},        // far above: never wrapped
      {65535, 0, 10, 32, 65535, true},               //
      {1000, 16777217, 0, 16777, 0, true},           // rounds to 16777216, which is level 1000
      {1001, 16777217, 0, 1, 0, false},              //
      {65535, 4294836225u, 300, 65535, 301, false},  // 65535 * 65535 rounds down to level 65534
      {65535, 33553962, 0, 521, 1133, false},        // 64402.998, which single precision takes for 64403
      {40000, 0, 32767, 1, 65535, true},             // the largest shifts either way, over the ends
      {100, 32767, 0, 1, 0, true},                   //
      {32000, 0, 32768, 1, 64768, false},            //
      {32768, 32768, 0, 1, 0, false},
  };
  for (const Case& c : cases) {
    // Eight pixels: long enough for whole lanes.
    Levels levels(8, c.raw);
    kernels::correctOffset(row(levels), row(Sums(8, c.sum)), c.target, c.frames);
    EXPECT_EQ(levels, Levels(8, c.expected)) << c.sum << " / " << c.frames;

    std::vector<std::int16_t> shifts(8);
    const bool fits = kernels::tabulateShifts(row(Sums(8, c.sum)), c.target, c.frames, shifts);
    ASSERT_EQ(fits, c.shiftFits) << c.sum;
    if (!fits) continue;
    levels.assign(8, c.raw);
    kernels::shiftPixels(levels, shifts);
    EXPECT_EQ(levels, Levels(8, c.expected)) << c.sum << " / " << c.frames;
  }
}

// The lanes divide in single precision: that must be the integer quotient for every sum below 2^24. Between
// two multiples of N it cannot change, so each multiple and its lower neighbour decide.
TEST(FlatFieldTables, SinglePrecisionQuotientsAreExact) {
  Sums sums(512);
  Levels levels(512);
  for (std::uint32_t frames = 1; frames <= 65535; frames += frames < 300 ? 1 : 97) {
    std::uint32_t quotient = 0;
    const std::uint32_t largest = std::min(((1u << 24) - 1) / frames, 65535u);
    while (quotient <= largest) {
      const std::uint32_t first = quotient;
      for (std::size_t i = 0; i < 512; i += 2, quotient = std::min(quotient + 1, largest + 1)) {
        const std::uint32_t multiple = std::max(std::min(quotient, largest), 1u) * frames;
        sums[i] = multiple;
        sums[i + 1] = multiple - 1;
      }
      std::fill(levels.begin(), levels.end(), std::uint16_t{0});
      kernels::correctOffset(row(levels), row(sums), 65535, static_cast<std::uint16_t>(frames));
      for (std::size_t i = 0; i < 512; ++i) {
        ASSERT_EQ(65535u - levels[i], sums[i] / frames) << sums[i] << " / " << frames << " from " << first;
      }
    }
  }
}

TEST(FlatFieldTables, AreShown) {
  // The table is one column wider than the image.
  const Sums wide{9, 10, 99, 65536u * 3, 11, 99};
  Levels frame(4);
  kernels::showTable({wide.data(), 3, 2}, 3, {frame.data(), 2, 2});
  EXPECT_EQ(frame, (Levels{3, 3, 65535, 3}));

  const std::vector<float> values{-2.0f, -1.0f, 0.0f, 2.5f};
  kernels::showValues({values.data(), 4, 1}, -2.0f, 2.0f, row(frame));
  EXPECT_EQ(frame, (Levels{0, 16383, 32767, 65535}));
  kernels::showValues({values.data(), 4, 1}, -0.25f, 0.25f, row(frame));  // gains span less than 1
  EXPECT_EQ(frame, (Levels{0, 0, 32767, 65535}));
  kernels::showValues({values.data(), 4, 1}, 1.0f, 1.0f, row(frame));
  EXPECT_EQ(frame, Levels(4, 0));
}

// (raw - 1000) * 0.05 K, from 10 K on, 65535 / 262.14 = 250 levels per kelvin.
TEST(PolynomialFlatField, GainAndOffsetGiveLevels) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Levels levels{2000, 1200, 1199, 65535, 2000, 500, 1000, 2000, 2000};
  const std::vector<float> gain{0.05f, 0.05f, 0.05f, 0.1f, inf, -inf, inf, nan, 0.05f};
  std::vector<float> offset(9, 1000.0f);
  offset[8] = nan;
  kernels::applyGainAndOffset(levels, gain, offset, kernels::LevelScale(10.0f, 262.14f));
  // 9999.999 in single precision.
  EXPECT_EQ(levels, (Levels{9999, 0, 0, 65535, 0, 0, 0, 0, 0}));

  const std::vector<ffcPixelPolyfit> pixel{{1, 1, 1, 1, 1, 1, 1}};
  std::vector<float> untouched{7.0f};
  EXPECT_FALSE(kernels::evaluatePolynomials(pixel, PolynomialModel::unknown, kernels::PolynomialTerms(300.0f),
                                            untouched, untouched));
  EXPECT_EQ(untouched[0], 7.0f);

  kernels::ValueRange range;
  EXPECT_FALSE(range.known());
  range.add(std::vector<float>{3.0f, nan, -2.0f, inf, -inf});
  EXPECT_EQ(range.low, -2.0f);
  EXPECT_EQ(range.high, 3.0f);
}

}  // namespace
