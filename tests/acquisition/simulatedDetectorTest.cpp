#include <gtest/gtest.h>

#include <algorithm>

#include "support/simulatedFrames.h"

// Every term of the detector, measured from the bytes that a camera sends. Spreads are held against the table
// to 5 %; each is taken from so many values that its own statistical error stays below 1.3 %.

using simulation::CameraSpec;
using simulation::SimulatedCamera;

namespace {

constexpr std::size_t kWidth = 320, kHeight = 240;
constexpr double kResponsivity = 40.0;
constexpr double kTemporal =
    2.4 * 2.4 + 1.0 / 12.0;  // variance of one pixel: 60 mK and the rounding to counts
constexpr double kRow = 0.8 * 0.8;

/// A Marlow 3 before a black body, with defects, warm-up and housing out of the way.
CameraSpec plainSpec(const std::string& options = {}) {
  return specOf("marlow3;scene=uniform;temperature=25;defects=off;fpa=25;housing=0" + options);
}

void setBlackBody(SimulatedCamera& camera, double celsius) {
  simulation::SceneSpec scene;
  scene.kind = simulation::SceneKind::Uniform;
  scene.celsius = celsius;
  camera.setScene(scene);
}

std::vector<double> columnMeans(const std::vector<double>& frame) {
  std::vector<double> means(kWidth, 0.0);
  for (std::size_t i = 0; i < frame.size(); ++i) means[i % kWidth] += frame[i];
  for (std::size_t x = 0; x < kWidth; ++x) means[x] /= x + 1 < kWidth ? kHeight : kHeight - 1;
  return means;
}

Spread spreadOf(const std::vector<double>& values) {
  Spread spread;
  for (const double value : values) spread.add(value);
  return spread;
}

void expectWithin5Percent(double measured, double wanted, const char* what) {
  EXPECT_NEAR(measured, wanted, 0.05 * std::abs(wanted)) << what;
}

}  // namespace

TEST(SimulatedDetector, TemporalAndRowNoise) {
  SimulatedCamera camera(plainSpec());
  Spread pixels, rows;
  auto before = nextBytes(camera);
  for (int pair = 0; pair < 24; ++pair) {
    const auto after = nextBytes(camera);
    for (std::size_t y = 0; y + 1 < kHeight; ++y) {
      Spread row;
      for (std::size_t i = y * kWidth; i < (y + 1) * kWidth; ++i)
        row.add(countAt(after, i) - countAt(before, i));
      rows.add(row.mean());
      pixels.add(row.variance());
    }
    before = after;
  }
  expectWithin5Percent(std::sqrt(pixels.mean() / 2.0 * kWidth / (kWidth - 1) - 1.0 / 12.0), 2.4, "n");
  expectWithin5Percent(std::sqrt(rows.variance() / 2.0 - kTemporal / kWidth), 0.8, "R");
}

TEST(SimulatedDetector, OffsetsAndColumns) {
  Spread offsets, columns;
  double level = 0.0;
  for (int camera = 0; camera < 12; ++camera) {
    SimulatedCamera marlow(plainSpec(";seed=" + std::to_string(camera)));
    const auto frame = meanFrame(marlow, 2);
    const auto means = columnMeans(frame);
    const double mean = spreadOf(means).mean();
    level += mean / 12.0;
    for (const double value : means) columns.add(value - mean);
    if (camera > 0) continue;
    for (std::size_t i = 0; i < frame.size(); ++i) offsets.add(frame[i] - means[i % kWidth]);
  }
  EXPECT_NEAR(level, 4800.0, 5.0);  // 3840 columns of 60 counts: 1 count of error
  expectWithin5Percent(offsets.sigma(), 350.0, "F");
  // A column's mean also holds 1/240 of the offsets' variance and the column drift at power-on.
  expectWithin5Percent(std::sqrt(columns.variance() - 350.0 * 350.0 / 240.0 - 9.0), 60.0, "cF");
}

TEST(SimulatedDetector, ColumnDriftGrowsByOneCountPerMinute) {
  Spread start, later;
  for (int camera = 0; camera < 12; ++camera) {
    SimulatedCamera marlow(plainSpec(";pattern=0;seed=" + std::to_string(camera)));
    const auto collect = [&](Spread& spread) {
      const auto means = columnMeans(meanFrame(marlow, 1));
      const double mean = spreadOf(means).mean();
      for (const double value : means) spread.add(value - mean);
    };
    collect(start);
    marlow.advanceTime(600.0);
    collect(later);
  }
  const double noise = kTemporal / kHeight;
  expectWithin5Percent(std::sqrt(start.variance() - noise), 3.0, "C at power-on");
  expectWithin5Percent(std::sqrt(later.variance() - noise), 13.0, "C after ten minutes");
}

TEST(SimulatedDetector, GainAndDriftWithDetectorTemperature) {
  constexpr int kFrames = 16;
  SimulatedCamera camera(plainSpec());
  const auto average = [&](double sceneCelsius, double detectorCelsius) {
    setBlackBody(camera, sceneCelsius);
    camera.setDetectorCelsius(detectorCelsius);
    return meanFrame(camera, kFrames);
  };
  // Black bodies at 298.15 K (radiance 0) and 393.15 K (138.33), the detector 30 K below and above 25
  // degrees.
  const auto zero = average(25.0, 25.0), hot = average(120.0, 25.0);
  const auto zeroWarm = average(25.0, 55.0), hotWarm = average(120.0, 55.0), zeroCold = average(25.0, -5.0);
  Spread gain, gainDrift, linear, quadratic;
  for (std::size_t i = 0; i < zero.size(); ++i) {
    const double response = hot[i] - zero[i];
    gain.add(response / (kResponsivity * 138.33));
    gainDrift.add(((hotWarm[i] - zeroWarm[i]) / response - 1.0) / 30.0);
    linear.add((zeroWarm[i] - zeroCold[i]) / 60.0);
    quadratic.add((zeroWarm[i] + zeroCold[i] - 2.0 * zero[i]) / 1800.0);
  }
  EXPECT_NEAR(gain.mean(), 1.0, 0.001);
  expectWithin5Percent(gain.sigma(), 0.04, "G");
  EXPECT_NEAR(gainDrift.mean(), -0.0015, 5e-6);
  expectWithin5Percent(gainDrift.sigma(), 2e-4, "dbeta");
  EXPECT_NEAR(linear.mean(), 40.0, 0.05);
  expectWithin5Percent(linear.sigma(), 0.03 * 40.0, "kk1");
  EXPECT_NEAR(quadratic.mean(), 0.08, 0.0005);
  const double noise = 6.0 * (kTemporal + kRow) / kFrames / (1800.0 * 1800.0);
  expectWithin5Percent(std::sqrt(quadratic.variance() - noise), 0.05 * 0.08, "kk2");
}

TEST(SimulatedDetector, HousingShadesTheCorners) {
  SimulatedCamera camera(plainSpec());
  const auto cold = meanFrame(camera, 8);
  camera.setHousingExcessK(4.0);
  const auto warm = meanFrame(camera, 8);
  Spread shade, product;
  double sum = 0.0;
  for (std::size_t i = 0; i < cold.size(); ++i) {
    const double dx = static_cast<double>(i % kWidth) - 159.5, dy = static_cast<double>(i / kWidth) - 119.5;
    const double part = (dx * dx + dy * dy) / (159.5 * 159.5 + 119.5 * 119.5);
    shade.add(part);
    sum += part * (warm[i] - cold[i]);
    product.add(warm[i] - cold[i]);
  }
  const double slope = (sum / shade.count - shade.mean() * product.mean()) / shade.variance();
  expectWithin5Percent(slope, 0.15 * kResponsivity * 4.0, "shade");
  EXPECT_NEAR(product.mean() - slope * shade.mean(), 0.0, 0.3);  // nothing in the middle
}

TEST(SimulatedDetector, PixelsWalk) {
  SimulatedCamera camera(plainSpec(";pattern=0"));
  const auto before = meanFrame(camera, 8);
  camera.advanceTime(40000.0);
  auto after = meanFrame(camera, 8);
  for (std::size_t i = 0; i < after.size(); ++i) after[i] -= before[i];
  const auto means = columnMeans(after);
  Spread walk;
  for (std::size_t i = 0; i < after.size(); ++i) walk.add(after[i] - means[i % kWidth]);
  const double noise = 2.0 * (kTemporal + kRow) / 8.0;
  expectWithin5Percent(std::sqrt(walk.variance() * kHeight / (kHeight - 1) - noise), 0.02 * 200.0, "drift");
}

TEST(SimulatedDetector, DefectivePixels) {
  SimulatedCamera camera(specOf("marlow3;scene=uniform;temperature=25;fpa=25;housing=0;pattern=0"));
  constexpr int kFrames = 100;
  std::vector<int> dead(kWidth * kHeight, 0), full(dead), high(dead);
  for (int frame = 0; frame < kFrames; ++frame) {
    const auto bytes = nextBytes(camera);
    for (std::size_t i = 0; i + 1 < kWidth * kHeight; ++i) {
      const int count = countAt(bytes, i);
      dead[i] += count == 0;
      full[i] += count == 16383;
      high[i] += count > 4925 && count < 5175;  // 4800 + 250, with 7 sigma of columns and noise to each side
    }
  }
  const auto always = [](const std::vector<int>& hits) { return std::ranges::count(hits, 100); };
  const bool lastIsDefect = camera.defects().back().pixel == kWidth * kHeight - 1;
  ASSERT_FALSE(lastIsDefect);   // its place is the temperature word's
  EXPECT_EQ(always(dead), 77);  // 0.1 % of 76,800
  EXPECT_EQ(always(full), 38);  // 0.05 %
  Spread share;
  for (const int hits : high) {
    if (hits > 0) share.add(hits / static_cast<double>(kFrames));
  }
  EXPECT_EQ(share.count, 38.0);  // 0.05 %
  EXPECT_NEAR(share.mean(), 0.3, 0.03);
  EXPECT_EQ(camera.defects().size(), 77u + 38u + 38u);
}

TEST(SimulatedDetector, LensBlursAnEdge) {
  // 293 K and 343 K side by side, in hundredths of a kelvin.
  auto pictures = std::make_shared<std::vector<simulation::GreyPicture>>(1);
  auto& picture = pictures->front();
  picture = {kWidth, kHeight, std::vector<std::uint16_t>(kWidth * kHeight, 29300)};
  for (std::size_t i = 0; i < picture.values.size(); ++i) {
    if (i % kWidth >= 160) picture.values[i] = 34300;
  }
  auto spec = plainSpec(";pattern=0;values=kelvin;scale=0.01");
  spec.scene.kind = simulation::SceneKind::File;
  spec.scene.pictures = pictures;
  SimulatedCamera camera(spec);
  const auto means = columnMeans(meanFrame(camera, 4));
  double weight = 0.0, first = 0.0, second = 0.0;
  for (std::size_t x = 157; x < 163; ++x) {  // the line spread is the edge's slope
    const double slope = means[x + 1] - means[x], position = static_cast<double>(x) + 0.5;
    weight += slope;
    first += slope * position;
    second += slope * position * position;
  }
  EXPECT_NEAR(first / weight, 159.5, 0.05);
  expectWithin5Percent(std::sqrt(second / weight - first / weight * first / weight), 0.6, "blur");
}

TEST(SimulatedDetector, SameSeedSameBytes) {
  const auto bytesOf = [](const std::string& text) {
    SimulatedCamera camera(specOf(text));
    camera.skip();  // a lost frame changes nothing for the next one
    return nextBytes(camera);
  };
  SimulatedCamera read(specOf("marlow3;seed=7"));
  nextBytes(read);
  const auto first = bytesOf("marlow3;seed=7");
  EXPECT_EQ(first, bytesOf("marlow3;seed=7"));
  EXPECT_EQ(first, nextBytes(read));
  EXPECT_NE(first, bytesOf("marlow3;seed=8"));
  EXPECT_NE(first, bytesOf("marlow3;seed=7;serial=466001360"));
}
