#include "common/image.h"

#include <gtest/gtest.h>

#include "support/LogCapture.h"

namespace {

TEST(ImageTest, CopyNeedsTheSameNumberOfPixelsNotTheSameShape) {
  const LogCapture log(logger::verbosityErrors);
  image<unsigned short> source(3, 2);
  for (unsigned short i = 0; i < 6; ++i) source.data[i] = static_cast<unsigned short>(65535 - i);
  image<unsigned short> reshaped(2, 3), smaller(5, 1), empty;

  copyImage(source, reshaped);
  EXPECT_EQ(reshaped.data[5], 65530);
  EXPECT_EQ(reshaped.width, 2);
  copyImage(source, smaller);
  copyImage(source, empty);
  copyImage(empty, source);
  EXPECT_EQ(smaller.data[0], 0);
  EXPECT_EQ(source.data[0], 65535);
  EXPECT_EQ(log.count("Input and output images mismatch"), 3u);
  copyImage(empty, empty);
  EXPECT_EQ(log.lines().size(), 3u);
}

TEST(ImageTest, AMovedImageIsEmptyAndItsPixelsLiveOn) {
  image<unsigned int> first(4, 5);
  first.view().at(3, 4) = 9;
  EXPECT_EQ(first.sizeBytes, 80u);
  image<unsigned int> second(1, 1);
  second = std::move(first);
  EXPECT_TRUE(first.empty());  // NOLINT(bugprone-use-after-move): the state after a move is promised
  EXPECT_EQ(first.pixelCount(), 0u);
  EXPECT_EQ(first.sizeBytes, 0u);
  EXPECT_EQ(second.data[19], 9u);
  second.release();
  EXPECT_TRUE(second.empty());
}

}  // namespace
