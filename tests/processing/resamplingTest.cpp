#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "common/image.h"
#include "processing/kernels/interpolation.h"
#include "processing/kernels/rotation.h"
#include "processing/kernels/spatialFilter.h"

namespace {

using Levels = std::vector<std::uint16_t>;
using Picture = image<unsigned short>;

struct Size {
  std::uint16_t width;
  std::uint16_t height;
};

Picture pictureOf(Size size, const Levels& levels) {
  Picture picture(size.width, size.height);
  for (std::size_t i = 0; i < picture.pixelCount(); ++i) picture.data[i] = levels[i % levels.size()];
  return picture;
}
Levels pixelsOf(const Picture& picture) { return {picture.data, picture.data + picture.pixelCount()}; }

Levels zoomed(const Picture& in, float zoom, std::uint8_t method) {
  kernels::InterpolationWeights weights;
  weights.prepare(zoom, method, in.width, in.height);
  Picture out(in.width, in.height);
  std::vector<float> scratch(kernels::interpolationScratch(in.width));
  kernels::interpolateImage(in.view(), out.view(), weights, {0, in.height}, scratch);
  return pixelsOf(out);
}

Levels zoomedByBlocks(const Picture& in, std::uint32_t factor) {
  Picture out(in.width, in.height);
  kernels::zoomPixels(in.view(), out.view(), factor, {0, in.height});
  return pixelsOf(out);
}

Levels rotated(const Picture& in, double degrees) {
  Picture out(in.width, in.height);
  kernels::rotateImage(in.view(), out.view(), kernels::rotationStep(degrees), {0, in.height});
  return pixelsOf(out);
}

Levels filtered(const Picture& in, float sigma) {
  Picture out(in.width, in.height);
  std::vector<float> scratch(kernels::filterScratch(in.width));
  kernels::filterImage(in.view(), out.view(), sigma, {0, in.height}, scratch);
  return pixelsOf(out);
}

// Catmull-Rom at 0.75 between pixels: (-3, 29, 111, -9) / 128 of the four around it, mirrored at 0.25.
TEST(Interpolation, HandValues) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinite = std::numeric_limits<float>::infinity();
  const Levels ramp{0, 100, 200, 300};
  const struct {
    float zoom;
    std::uint8_t method;
    Levels expected;
  } cases[] = {
      {2.0f, 0, {100, 100, 200, 200}},
      {2.0f, 1, {75, 125, 175, 225}},
      {2.0f, 9, {75, 125, 175, 225}},
      {2.0f, 2, {73, 125, 175, 227}},
      {0.5f, 1, {0, 50, 250, 300}},
      {1e30f, 1, {150, 150, 150, 150}},
      {1e-30f, 1, {0, 0, 300, 300}},
      {1.0f, 3, ramp},
      {0.0f, 3, ramp},
      {-2.0f, 1, ramp},
      {nan, 0, ramp},
      {infinite, 1, ramp},
      {-infinite, 2, ramp},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(zoomed(pictureOf({4, 1}, ramp), c.zoom, c.method), c.expected)
        << c.zoom << " method " << int{c.method};
    EXPECT_EQ(zoomed(pictureOf({1, 4}, ramp), c.zoom, c.method), c.expected) << "upright " << c.zoom;
  }
}

TEST(Interpolation, WeightsFollowTheSizeOfTheImage) {
  kernels::InterpolationWeights weights;
  for (const auto& [width, height] : {std::pair{4u, 3u}, {6u, 3u}, {6u, 5u}}) {
    weights.prepare(2.0f, 1, width, height);
    EXPECT_TRUE(weights.columns.first.size() == width && weights.rows.first.size() == height) << width;
  }
}

TEST(Interpolation, IntegerZoomShowsTheCentre) {
  const Picture ramp = pictureOf({4, 1}, {0, 100, 200, 300});
  EXPECT_EQ(zoomedByBlocks(ramp, 2), (Levels{100, 100, 200, 200}));
  EXPECT_EQ(zoomedByBlocks(ramp, 0), pixelsOf(ramp));
  EXPECT_EQ(zoomedByBlocks(pictureOf({5, 1}, {1, 2, 3, 4, 5}), 3), (Levels{2, 3, 3, 3, 4}));
  EXPECT_EQ(zoomedByBlocks(pictureOf({5, 1}, {1, 2, 3, 4, 5}), ~0u), (Levels{3, 3, 3, 3, 3}));
}

// Lanczos and Catmull-Rom overshoot beside a step; only Lanczos is held within the levels that are there.
TEST(Interpolation, OnlyLanczosStaysWithinItsWindow) {
  const Picture step = pictureOf({12, 1}, {100, 100, 100, 100, 100, 100, 900, 900, 900, 900, 900, 900});
  const auto range = [](const Levels& levels) {
    const auto [low, high] = std::minmax_element(levels.begin(), levels.end());
    return std::pair<int, int>(*low, *high);
  };
  EXPECT_EQ(range(zoomed(step, 2.7f, 3)), std::pair(100, 900));
  EXPECT_LT(range(zoomed(step, 2.7f, 2)).first, 90);
  // Half-way between the outermost two it sees four pixels, not the 900 behind them.
  const Levels edges{500, 500, 400, 500, 900, 900, 900, 900, 500, 400, 500, 500};
  const Levels shown = zoomed(pictureOf({12, 1}, edges), 1.1f, 3);
  EXPECT_TRUE(shown.front() == 500 && shown.back() == 500) << shown.front() << ' ' << shown.back();
}

TEST(Rotation, QuarterTurnsAreExact) {
  const Picture in = pictureOf({3, 3}, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(rotated(in, 0), pixelsOf(in));
  EXPECT_EQ(rotated(in, 90), (Levels{7, 4, 1, 8, 5, 2, 9, 6, 3}));  // clockwise
  EXPECT_EQ(rotated(in, 270), (Levels{3, 6, 9, 2, 5, 8, 1, 4, 7}));
  EXPECT_EQ(rotated(in, -90), rotated(in, 270));
  EXPECT_EQ(rotated(in, 360), pixelsOf(in));
  EXPECT_EQ(rotated(in, -36000), pixelsOf(in));
  // Not square: the middle is turned and its ends go on to the left and right.
  EXPECT_EQ(rotated(pictureOf({4, 2}, {1, 2, 3, 4, 5, 6, 7, 8}), 90), (Levels{6, 6, 2, 2, 7, 7, 3, 3}));
}

Picture noisyStep(double sigma, double step, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0.0, sigma);
  Picture picture(160, 120);
  for (std::uint32_t y = 0; y < 120; ++y) {
    for (std::uint32_t x = 0; x < 160; ++x) {
      picture.view().at(x, y) = static_cast<std::uint16_t>(20000.5 + (x < 80 ? 0.0 : step) + noise(random));
    }
  }
  return picture;
}

struct Moments {
  double mean;
  double sigma;
};
Moments momentsOf(const Levels& levels) {
  double sum = 0.0, squares = 0.0;
  for (const double level : levels) sum += level;
  const double mean = sum / static_cast<double>(levels.size());
  for (const double level : levels) squares += (level - mean) * (level - mean);
  return {mean, std::sqrt(squares / static_cast<double>(levels.size()))};
}

TEST(SpatialFilter, LowersNoiseAndKeepsTheMean) {
  // Too narrow or too low to tell.
  EXPECT_EQ(kernels::noiseSigma(pictureOf({2, 9}, {0, 65535, 0}).view()), 0.0f);
  EXPECT_EQ(kernels::noiseSigma(pictureOf({9, 2}, {0, 65535, 0}).view()), 0.0f);
  // A pixel of 60 amid zeros: 4 * 60 / 6 * sqrt(pi / 2). Of six rows, only the second is looked at.
  const Levels spot{0, 0, 0, 0, 60, 0, 0, 0, 0};
  EXPECT_FLOAT_EQ(kernels::noiseSigma(pictureOf({3, 3}, spot).view()), 50.132565f);
  EXPECT_FLOAT_EQ(kernels::noiseSigma(pictureOf({3, 6}, spot).view()), 50.132565f);
  for (const double sigma : {80.0, 300.0, 1500.0}) {
    const Picture in = noisyStep(sigma, 0.0, 5);
    const float estimate = kernels::noiseSigma(in.view());
    EXPECT_NEAR(estimate, sigma, 0.05 * sigma);
    const Moments before = momentsOf(pixelsOf(in));
    const Moments after = momentsOf(filtered(in, estimate));
    EXPECT_GE(before.sigma / after.sigma, 2.5) << sigma;
    EXPECT_NEAR(after.mean, before.mean, 1.0) << sigma;
  }
}

/// Distance over which the mean row rises from a tenth to nine tenths of the step.
double edgeWidth(const Levels& levels, double step) {
  std::vector<double> profile(160);
  for (std::size_t i = 0; i < levels.size(); ++i) profile[i % 160] += levels[i] / 120.0;
  const auto crossing = [&](double level) {
    std::size_t x = 70;
    while (profile[x + 1] < level) ++x;
    return static_cast<double>(x) + (level - profile[x]) / (profile[x + 1] - profile[x]);
  };
  return crossing(20000.0 + 0.9 * step) - crossing(20000.0 + 0.1 * step);
}

TEST(SpatialFilter, KeepsEdges) {
  constexpr double sigma = 200.0;
  constexpr double step = 20.0 * sigma;
  const Picture in = noisyStep(sigma, step, 6);
  const double before = edgeWidth(pixelsOf(in), step);
  EXPECT_LE(edgeWidth(filtered(in, static_cast<float>(sigma)), step) - before, 0.2);
}

}  // namespace
