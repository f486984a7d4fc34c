#include "tools/common/stageFigures.h"

#include <gtest/gtest.h>

#include <cmath>

using tools::PixelKind;

TEST(StageFigures, OfThreeFramesByHand) {
  // Two columns, two rows; the last pixel has no picture, the second is defective.
  const std::vector<PixelKind> kinds = {PixelKind::Good, PixelKind::Defective, PixelKind::Good,
                                        PixelKind::NoPicture};
  tools::StageRecorder recorder(4);
  recorder.add(std::vector<std::uint16_t>{9, 9, 9, 9});
  recorder.restart();
  recorder.add(std::vector<std::uint16_t>{100, 130, 104, 0});
  recorder.add(std::vector<std::uint16_t>{102, 130, 104, 65535});
  recorder.add(std::vector<std::uint16_t>{104, 130, 110, 7});
  // Means 102, 130, 106; variances 4 and 12.
  const auto figures = recorder.figures(kinds, 2, 4.0);
  EXPECT_DOUBLE_EQ(figures.meanLevel, 104.0);
  EXPECT_DOUBLE_EQ(figures.spatialMk, 4.0 * std::sqrt(4.0 - 8.0 / 3.0));  // without the noise of three frames
  EXPECT_NEAR(figures.spatialAllMk, 4.0 * std::sqrt(1376.0 / 9.0), 1e-9);
  EXPECT_DOUBLE_EQ(figures.temporalMk, 4.0 * std::sqrt(8.0));
  EXPECT_DOUBLE_EQ(figures.columnMk, 0.0);  // only one column has good pixels
}

TEST(StageFigures, ColumnSpreadLeavesSlopesAlone) {
  std::vector<double> means(51, 7.0);
  means[25] += 17.0;
  // The column itself keeps 16, its 16 neighbours get -1; over 51 columns the mean is 0.
  EXPECT_NEAR(tools::columnSpread(means), std::sqrt((256.0 + 16.0) / 51.0), 1e-9);
  means[25] = std::nan("");
  EXPECT_NEAR(tools::columnSpread(means), 0.0, 1e-9);
}
