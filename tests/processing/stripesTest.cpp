#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <tuple>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "core/settings.h"
#include "processing/FrameContext.h"
#include "processing/stages/stages.h"
#include "support/LogCapture.h"

namespace {

constexpr float kLevel = 14000.0f;
constexpr float kNoise = 12.5f;  // 50 mK at 4 mK per level

using Levels = std::vector<std::uint16_t>;
using Means = std::vector<double>;

double spread(const Means& values) {
  double sum = 0.0, squares = 0.0;
  for (const double v : values) sum += v, squares += v * v;
  const double mean = sum / static_cast<double>(values.size());
  return std::sqrt(squares / static_cast<double>(values.size()) - mean * mean);
}

/// Both stages on frames that a test composes.
class Stripes : public testing::Test {
 protected:
  Stripes() { settings::create(0, nullptr); }
  ~Stripes() override { settings::release(); }

  void open(std::uint16_t width, std::uint16_t height) { camera.processing.allocate(width, height); }

  /// One frame of `scene(x, y)` with noise.
  void feed(std::uint64_t number, const std::function<float(int, int)>& scene, float noise = kNoise) {
    for (int y = 0; y < picture.height; ++y) {
      for (int x = 0; x < picture.width; ++x) {
        const float value = std::max(scene(x, y) + noise * normal(random), 0.0f);
        picture.data[y * picture.width + x] = static_cast<std::uint16_t>(std::min(value + 0.5f, 65535.0f));
      }
    }
    run(number);
  }
  void run(std::uint64_t number, bool fromFilledSlot = true) {
    camera.delivered.number = number;
    camera.delivered.fromFilledSlot = fromFilledSlot;
    before.assign(picture.data, picture.data + picture.pixelCount());
    FrameContext frame(camera);
    removeColumnStripes(frame);
    removeRowStripes(frame);
  }
  Means columnMeans() const {
    Means means(picture.width);
    for (std::size_t i = 0; i < picture.pixelCount(); ++i) means[i % picture.width] += picture.data[i];
    for (double& mean : means) mean /= picture.height;
    return means;
  }
  Means rowMeans() const {
    Means means(picture.height);
    for (std::size_t i = 0; i < picture.pixelCount(); ++i) means[i / picture.width] += picture.data[i];
    for (double& mean : means) mean /= picture.width;
    return means;
  }
  int largestChange() const {
    int largest = 0;
    for (std::size_t i = 0; i < before.size(); ++i)
      largest = std::max(largest, std::abs(before[i] - picture.data[i]));
    return largest;
  }
  std::vector<float> normals(std::size_t count, float sigma) {
    std::vector<float> values(count);
    for (float& value : values) value = sigma * normal(random);
    return values;
  }

  LogCapture log{logger::verbosityErrors};
  imageAcquisition camera{"test", false};
  image<unsigned short>& picture = camera.processing.rawImage;
  Destriping& destriping = camera.processing.destriping;
  Levels before;
  std::mt19937 random{11};
  std::normal_distribution<float> normal;
};

// A post of 400 levels on striped ground, seen through a lens. Stripes go, the post stays, and what the
// columns have learnt after frame 8 is what they know after frame 120.
TEST_F(Stripes, ColumnsGoButPostsStayAndNothingDrifts) {
  constexpr int kPost = 170;
  open(320, 240);
  const auto stripes = normals(320, 15.0f);
  const auto scene = [&](int x, int) {
    const int inside = std::min(x - kPost, kPost + 15 - x);
    return kLevel + stripes[static_cast<std::size_t>(x)] +
           (inside > 0     ? 400.0f
            : inside == 0  ? 350.0f
            : inside == -1 ? 50.0f
                           : 0.0f);
  };
  ASSERT_GT(spread({stripes.begin(), stripes.end()}), 13.0);
  Means early;
  for (std::uint64_t number = 0; number <= 120; ++number) {
    // In between only corrections are learnt; half of the frames do, as at half rate.
    if (number > 20 && number < 118 && number % 4 != 0) continue;
    feed(number, scene);
    if (number != 8 && number != 120) continue;
    const Means means = columnMeans();
    Means ground(means.begin(), means.begin() + kPost - 8);
    EXPECT_LE(spread(ground), 4.0) << number;
    double post = 0.0, around = 0.0;
    for (int x = kPost + 2; x < kPost + 14; ++x) post += means[static_cast<std::size_t>(x)] / 12;
    for (int x = 1; x <= 40; ++x)
      around +=
          (means[kPost - 6u - static_cast<unsigned>(x)] + means[kPost + 22u + static_cast<unsigned>(x)]) / 80;
    EXPECT_NEAR(post - around, 400.0, 20.0) << number;
    if (number == 8) early = means;
    if (number == 120) {
      for (std::size_t x = 0; x < means.size(); ++x) EXPECT_NEAR(means[x], early[x], 5.0) << x;
    }
  }
}

TEST_F(Stripes, RowsGo) {
  open(320, 240);
  double residual = 0.0;
  for (std::uint64_t number = 0; number < 4; ++number) {
    const auto stripes = normals(240, 4.0f);
    feed(number, [&](int, int y) { return kLevel + stripes[static_cast<std::size_t>(y)]; });
    residual += spread(rowMeans()) / 4;
  }
  EXPECT_LE(residual, 2.0);
}

TEST_F(Stripes, ARichSceneHardlyChanges) {
  open(320, 240);
  const auto scene = [](int x, int y) {
    float level = kLevel + 2.0f * static_cast<float>(y) + static_cast<float>(x) +
                  60.0f * std::sin(0.2f * static_cast<float>(x) + 0.1f * static_cast<float>(y));
    if ((x - 100) * (x - 100) + (y - 120) * (y - 120) < 3600) level += 2500.0f;
    if (x > 200 + y / 11 && y > 90) level += 700.0f;
    if (x > 30 && x < 110 && y > 20 && y < 60) level -= 3000.0f;
    if (x > 250 && x < 262) level += 400.0f;
    return level;
  };
  for (std::uint64_t number = 0; number <= 10; ++number) feed(number, scene);
  EXPECT_LE(largestChange(), 25);
  EXPECT_GT(largestChange(), 0);
}

TEST_F(Stripes, LevelsSaturate) {
  open(40, 20);
  for (const float level : {0.0f, 65535.0f}) {
    const auto scene = [&](int x, int y) {
      return std::abs(level - (x % 5 == 2 ? 30.0f : 0.0f) - (y % 7 == 3 ? 9.0f : 0.0f));
    };
    feed(0, scene, 0.0f);
    for (std::size_t i = 0; i < before.size(); ++i) EXPECT_NEAR(before[i], picture.data[i], 90) << level;
  }
}

// What each frame may do to the columns: `learns` says whether its stripes, new in every frame, are measured.
TEST_F(Stripes, ColumnsAreRefreshedWhenDue) {
  const struct {
    std::uint64_t number;
    bool filled, calibrating;
    std::int32_t passes;
    bool learns;
  } frames[] = {
      {3, true, false, 4, false},  {4, false, false, 4, false}, {6, true, true, 4, false},
      {8, true, false, 0, false},  {10, true, false, 4, true},  {11, true, false, 4, false},
      {17, true, false, 4, false}, {19, true, false, 4, true},  {25, true, false, 4, false},
      {27, true, false, 4, true},  {28, true, false, 2, true},  {1, true, false, 4, true},
  };
  open(40, 20);
  destriping.rowDestripingPasses = 0;
  for (const auto& f : frames) {
    destriping.columnDestripingPasses = f.passes;
    camera.processing.calibration.ffcCalibrating = f.calibrating;
    const auto stripes = normals(40, 20.0f);
    for (std::size_t i = 0; i < picture.pixelCount(); ++i) {
      picture.data[i] = static_cast<std::uint16_t>(kLevel + stripes[i % 40]);
    }
    const auto corrections = destriping.columns.corrections;
    run(f.number, f.filled);
    const auto& after = destriping.columns.corrections;
    const bool learnt = std::any_of(after.begin(), after.end(), [&, i = std::size_t{0}](float c) mutable {
      const float earlier = i < corrections.size() ? corrections[i] : 0.0f;
      return ++i, c != 0.0f && c != earlier;
    });
    EXPECT_EQ(learnt, f.learns) << f.number;
    if (f.calibrating || f.passes == 0) {
      EXPECT_EQ(largestChange(), 0) << f.number;
    }
  }
}

TEST_F(Stripes, RowsKeepOffWhenTold) {
  open(40, 20);
  destriping.columnDestripingPasses = 0;
  const std::tuple<std::int32_t, bool, bool> cases[] = {
      {0, false, false}, {2, true, false}, {2, false, true}};
  for (const auto& [passes, calibrating, changes] : cases) {
    destriping.rowDestripingPasses = passes;
    camera.processing.calibration.ffcCalibrating = calibrating;
    feed(
        7, [](int x, int y) { return kLevel + static_cast<float>(y % 5 == 0 ? 20 + x % 3 : x % 3); }, 0.0f);
    EXPECT_EQ(largestChange() > 0, changes);
  }
}

}  // namespace
