#include "processing/kernels/histogramGain.h"
#include "processing/kernels/pixelwise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "common/image.h"
#include "processing/kernels/contrastTable.h"
#include "processing/kernels/frameMeasurement.h"
#include "processing/kernels/levelShift.h"
#include "processing/kernels/linearMapping.h"

namespace {

using Levels = std::vector<std::uint16_t>;
using Counts = std::vector<std::uint32_t>;

/// The generator everybody has, in 32 bits.
struct Random {
  using result_type = std::uint32_t;
  explicit Random(std::uint32_t seed) : engine(seed) {}
  static constexpr result_type min() { return 0; }
  static constexpr result_type max() { return 0xFFFFFFFF; }
  result_type operator()() { return static_cast<result_type>(engine()); }
  std::mt19937 engine;
};

constexpr std::int32_t kSteepest = 41;  // 25 mK at 4 mK per level

/// A histogram and the curve made from it.
struct Curve {
  Counts histogram = Counts(kLevels);
  Levels table = Levels(kLevels, 7);

  void tabulate(const kernels::GainSettings& settings) {
    kernels::tabulateGain(ConstLevelCounts{histogram}, settings, kernels::GainTable{table});
  }
  Levels from(std::size_t first, std::size_t count) const {
    const auto begin = table.begin() + static_cast<std::ptrdiff_t>(first);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
  }
};

TEST(HistogramGain, HandWorkedCurves) {
  const struct {
    std::vector<std::pair<std::size_t, std::uint32_t>> counts;
    kernels::GainSettings settings;
    std::size_t first;
    Levels expected;
  } cases[] = {
      // No span: the middle, whatever the weight.
      {{{500, 8}}, {500, 500, 0.0f, kSteepest}, 500, {32767}},
      {{{500, 8}}, {500, 500, 0.75f, kSteepest}, 500, {32767}},
      {{{500, 8}}, {501, 499, 1.0f, kSteepest}, 500, {32767}},
      // Two levels, one step of 41, centred.
      {{{100, 5}, {101, 3}}, {100, 101, 1.0f, kSteepest}, 99, {32726, 32747, 32788, 32808}},
      // Plateau 12: 12 + 1 + 1 + 1 pixels of 4369 each. Levels stand for the middle of their rise.
      {{{0, 13}, {1, 1}, {2, 1}, {3, 1}}, {0, 3, 1.0f, 65535}, 0, {26214, 54612, 58981, 63350, 65535}},
      // The same, limited: the first keeps 20000, the others get 10809.33 each of what is cut off.
      {{{0, 13}, {1, 1}, {2, 1}, {3, 1}}, {0, 3, 1.0f, 20000}, 0, {10000, 27589, 42767, 57945, 65535}},
      // Four rounds do not use up what is cut off: 29 levels remain at either end.
      {{{100, 1},
        {101, 1},
        {102, 3},
        {103, 4},
        {104, 8},
        {105, 16},
        {106, 27},
        {107, 48},
        {108, 81},
        {109, 143}},
       {100, 109, 1.0f, 6627},
       100,
       {3144, 9374, 15803, 22430, 29057, 35684, 42311, 48938, 55565, 62192}},
      // Cut to 40000, the first leaves the second, the only one with room, 9151.25 more than its own
      // 16383.75.
      {{{0, 3}, {1, 1}}, {0, 1, 1.0f, 40000}, 0, {20000, 52767, 65535}},
      // 1024 levels are a bin each, 1025 share one by twos.
      {{{0, 1}, {1023, 1}}, {0, 1023, 1.0f, 65535}, 0, {16383, 32767, 32767}},
      {{{0, 1}, {1024, 1}}, {0, 1024, 1.0f, 65535}, 0, {8191, 24575, 32767}},
      // Of 512 pixels the outermost are tails, of 511 they are not, and rise by 128.25 levels each.
      {{{0, 1}, {100, 510}, {200, 1}}, {0, 200, 1.0f, 65535}, 99, {0, 32767, 65535}},
      {{{0, 1}, {100, 509}, {200, 1}}, {0, 200, 1.0f, 65535}, 99, {128, 32767, 65406}},
      // Linear, 41 * 1598 = 65518: eight levels and a half remain at either end.
      {{{100, 1}, {1698, 1}}, {100, 1698, 0.0f, kSteepest}, 99, {8, 8, 49}},
      {{{100, 1}, {1698, 1}}, {100, 1698, 0.0f, kSteepest}, 1697, {65485, 65526, 65526}},
      // Nothing counted: the linear share alone.
      {{}, {0, 65535, 0.75f, kSteepest}, 65533, {65533, 65534, 65535}},
  };
  for (const auto& c : cases) {
    Curve curve;
    for (const auto& [level, count] : c.counts) curve.histogram[level] = count;
    curve.tabulate(c.settings);
    EXPECT_EQ(curve.from(c.first, c.expected.size()), c.expected) << c.counts.size() << " levels";
  }
}

TEST(HistogramGain, WithoutWeightItIsTheLinearMapping) {
  Curve curve;
  image<unsigned short> all(256, 256);
  for (const std::uint32_t span : {1599u, 1600u, 5003u, 30011u, 65535u}) {
    for (std::size_t i = 0; i < kLevels; ++i) all.data[i] = static_cast<std::uint16_t>(i);
    curve.histogram.assign(kLevels, 1);
    const auto low = static_cast<std::uint16_t>((65535 - span) / 2);
    const auto high = static_cast<std::uint16_t>(low + span);
    curve.tabulate({low, high, 0.0f, kSteepest});
    kernels::mapLinear(all.view(), low, high);
    int largest = 0;
    for (std::size_t i = 0; i < kLevels; ++i) {
      largest = std::max(largest, std::abs(curve.table[i] - all.data[i]));
    }
    EXPECT_LE(largest, 1) << span;
  }
}

/// Values of a frame before and after its gain control.
class Scene {
 public:
  explicit Scene(double sigma) : gaussian(0.0, sigma) {}

  void set(std::uint16_t x, std::uint16_t y, double level) {
    picture.view().at(x, y) = static_cast<std::uint16_t>(level + gaussian(random));
  }
  void correct(float weight, std::int32_t steepest) {
    const auto measured = kernels::measureFrame(picture.view(), LevelCounts{curve.histogram}, banks);
    low = measured.minimum.level;
    high = measured.maximum.level;
    before = {picture.data, picture.data + picture.pixelCount()};
    kernels::correctImage(picture.view(), ConstLevelCounts{curve.histogram}, {low, high, weight, steepest},
                          kernels::GainTable{curve.table});
  }
  double mapped(double level) const { return curve.table[static_cast<std::size_t>(level)]; }

  Random random{11};
  std::normal_distribution<double> gaussian;
  image<unsigned short> picture{320, 240};
  Curve curve;
  kernels::CountBanks banks;
  Levels before;
  std::uint16_t low = 0, high = 0;
};

// Bars of 0.24 K on a wall at 293 K with 50 mK of noise, beside a spot of 5 x 5 pixels that is 48 K warmer.
TEST(HistogramGain, ShowsFaintBarsBesideAHotSpot) {
  Scene scene(12.5);
  for (std::uint16_t y = 0; y < 240; ++y) {
    for (std::uint16_t x = 0; x < 320; ++x) {
      const bool spot = x >= 300 && x < 305 && y >= 100 && y < 105;
      scene.set(x, y, spot ? 26960.0 : x / 4 % 2 == 0 ? 14960.0 : 15020.0);
    }
  }
  scene.correct(0.75f, kSteepest);
  const double linearGain = 65535.0 / (scene.high - scene.low);
  EXPECT_GE((scene.mapped(15020) - scene.mapped(14960)) / 60.0, 4.0 * linearGain);
  // The spot is the brightest thing in the picture, and far above the bars.
  EXPECT_GT(scene.mapped(26960), scene.mapped(15020) + 20000.0);
}

TEST(HistogramGain, DoesNotBlowUpNoise) {
  for (const float weight : {0.0f, 0.25f, 0.75f, 1.0f}) {
    Scene scene(12.5);
    for (std::uint16_t y = 0; y < 240; ++y) {
      for (std::uint16_t x = 0; x < 320; ++x) scene.set(x, y, 15000.0);
    }
    scene.correct(weight, kSteepest);
    double sum = 0.0, squares = 0.0;
    for (const double level : scene.picture.view().pixels()) sum += level, squares += level * level;
    const double mean = sum / 76800.0;
    const double sigma = std::sqrt(squares / 76800.0 - mean * mean) / 257.0;
    EXPECT_LE(sigma, 2.5) << weight;
    EXPECT_GE(sigma, 1.5) << weight;  // nor is the picture dull
    EXPECT_NEAR(mean, 32767.0, 1500.0) << weight;
  }
}

// 0.1 % dead and 0.1 % saturated pixels in uncorrected counts: the picture proper stays in the middle and
// keeps the contrast that it may have.
TEST(HistogramGain, DeadAndSaturatedPixelsDoNotRuleThePicture) {
  Scene scene(2.5);
  for (std::uint16_t y = 0; y < 240; ++y) {
    for (std::uint16_t x = 0; x < 320; ++x) {
      const std::uint32_t index = scene.random() % 1000;
      scene.set(x, y, index == 0 ? 30.0 : index == 1 ? 16370.0 : 4800.0 + x % 160);
    }
  }
  scene.correct(1.0f, 205);
  EXPECT_NEAR(scene.mapped(4880), 32767.0, 3000.0);
  EXPECT_NEAR(scene.mapped(4930) - scene.mapped(4830), 205.0 * 100.0, 205.0);
  EXPECT_LT(scene.mapped(30), 2000.0);
  EXPECT_GT(scene.mapped(16370), 63000.0);
}

TEST(ContrastTable, IsTheClippedDistribution) {
  Counts counts(kLevels);
  counts[10] = 6;
  counts[20] = 2;
  std::vector<float> contrast(kLevels, 9.0f);
  const std::span<float, kLevels> table{contrast};
  kernels::tabulateContrast(ConstLevelCounts{counts}, 8, 0.5f, table);  // limit 4, total 6
  EXPECT_EQ(contrast[9], 0.0f);
  EXPECT_EQ(contrast[10], 4.0f / 6.0f);
  EXPECT_EQ(contrast[19], 4.0f / 6.0f);
  EXPECT_EQ(contrast[65535], 2.0f / 6.0f + 4.0f / 6.0f);
  kernels::tabulateContrast(ConstLevelCounts{counts}, 8, 0.24f, table);  // limit 1
  EXPECT_EQ(contrast[10], 0.5f);
  // A limit of 0 would divide nothing by nothing.
  for (const float fraction : {0.12f, 0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN()}) {
    kernels::tabulateContrast(ConstLevelCounts{counts}, 8, fraction, table);
    EXPECT_EQ(contrast[0], 0.0f);
    EXPECT_EQ(contrast[13107], 0.2f);
    EXPECT_EQ(contrast[65535], 1.0f);
  }
}

}  // namespace
