#include "tools/common/frameLog.h"

#include <gtest/gtest.h>

namespace {

using tools::Delivery;
using tools::HandOver;

constexpr std::int64_t kMs = 1'000'000;

TEST(FrameLog, CountsWhatLiesBetweenFirstAndLastDelivery) {
  // Numbers 9..15 were handed over 10 ms apart; 12 was never delivered, 13 twice, 9 and 15 lie outside.
  std::vector<HandOver> handOvers;
  for (std::uint64_t number = 9; number <= 15; ++number) {
    handOvers.push_back({number, static_cast<std::int64_t>(number) * 10 * kMs});
  }
  const std::vector<Delivery> deliveries = {
      {10, 101 * kMs}, {11, 112 * kMs}, {13, 133 * kMs}, {13, 140 * kMs}, {14, 141 * kMs}};
  const tools::StreamFigures figures = tools::measure(deliveries, handOvers, 2);
  EXPECT_EQ(figures.samplesProduced, 5u + 2u);
  EXPECT_EQ(figures.distinctFrames, 4u);
  EXPECT_EQ(figures.missed, 3u);
  EXPECT_DOUBLE_EQ(figures.framesPerSecond, 100.0);  // 4 intervals in 40 ms
  EXPECT_DOUBLE_EQ(figures.medianLatencyMs, 2.0);    // of 1, 2, 3, 10, 1
  EXPECT_DOUBLE_EQ(figures.p99LatencyMs, 10.0);
  EXPECT_EQ(figures.unpaired, 0u);
}

TEST(FrameLog, UnknownNumbersAreReported) {
  const tools::StreamFigures figures = tools::measure({{1, 5}, {2, 6}}, {{1, 0}}, 0);
  EXPECT_EQ(figures.unpaired, 1u);
  EXPECT_EQ(figures.samplesProduced, 1u);
  EXPECT_EQ(figures.missed, 0u);
  EXPECT_EQ(tools::measure({}, {{1, 0}}, 0).samplesProduced, 0u);
}

TEST(FrameLog, QuantilesAreByRank) {
  EXPECT_DOUBLE_EQ(tools::quantile({4.0, 1.0, 3.0, 2.0}, 0.5), 2.0);
  EXPECT_DOUBLE_EQ(tools::quantile({4.0, 1.0, 3.0, 2.0}, 0.99), 4.0);
  EXPECT_DOUBLE_EQ(tools::quantile({7.0}, 0.0), 7.0);
  EXPECT_DOUBLE_EQ(tools::quantile({}, 0.5), 0.0);
}

}  // namespace
