#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>
#include <span>

#include "acquisition/backends/simulated/calibrationFields.h"
#include "acquisition/backends/simulated/calibrationSet.h"
#include "acquisition/imageAcquisition.h"
#include "calibration/badPixels.h"
#include "calibration/ffcFile.h"
#include "calibration/polynomialFiles.h"
#include "calibration/thermographicFile.h"
#include "processing/splitCorrections.h"
#include "support/LogCapture.h"
#include "support/simulatedFrames.h"

// The files of a simulated camera, read back and held against the frames of the same camera: the corrections
// are written out here as plain formulas.

using simulation::PolynomialFiles;
using simulation::SimulatedCamera;

namespace {

constexpr std::size_t kPixels = 320 * 240 - 1;  // the last one is the temperature word
const std::string kCamera = "Marlow 3_466001359";

/// A fresh directory, removed at the end.
struct TemporaryDirectory {
  TemporaryDirectory() { std::filesystem::remove_all(path); }
  ~TemporaryDirectory() { std::filesystem::remove_all(path); }
  const std::string path =
      testing::TempDir() + "ombrix_set_" + testing::UnitTest::GetInstance()->current_test_info()->name();
};

double occupancy(double kelvin) { return 1.0 / (std::exp(1428.0 / kelvin) - 1.0); }

/// The black body whose radiance lies on the line through those of 298.15 K and 323.15 K at `linearK`.
double trueCelsius(double linearK) {
  const double low = occupancy(298.15), high = occupancy(323.15);
  return 1428.0 / std::log1p(1.0 / (low + (high - low) * (linearK - 298.15) / 25.0)) - 273.15;
}

image<unsigned int> loadTable(const std::string& path, int celsius) {
  image<unsigned int> table(320, 240);
  unsigned short frames = 0;
  float temperature = 0.0f;
  EXPECT_EQ(std::filesystem::file_size(path), 307222u);
  EXPECT_TRUE(loadFFC(&table, frames, temperature, path)) << path;
  EXPECT_EQ(frames, 32);
  EXPECT_EQ(temperature, static_cast<float>(celsius));
  return table;
}

/// A Marlow 3 before black bodies, and the good pixels by its own map.
struct Bench {
  explicit Bench(const std::string& directory) : camera(specOf("marlow3;scene=uniform;housing=0")) {
    std::vector<std::pair<int, int>> list;
    EXPECT_TRUE(loadBadPixelsList(&list, 320, 240, directory + "/dpc/" + kCamera + ".dpc"));
    for (const auto& [x, y] : list) good[static_cast<std::size_t>(y * 320 + x)] = false;
  }

  /// Mean error in degrees Celsius, and the spread over the pixels on the linear scale; `linearK` corrects.
  template <typename Correct>
  void expectTrue(double sceneCelsius, double detectorCelsius, double tolerance, const Correct& linearK) {
    simulation::SceneSpec scene;
    scene.kind = simulation::SceneKind::Uniform;
    scene.celsius = sceneCelsius;
    camera.setScene(scene);
    camera.setDetectorCelsius(detectorCelsius);
    const auto frame = meanFrame(camera, 4);
    Spread spread;
    for (std::size_t i = 0; i < kPixels; ++i) {
      if (good[i]) spread.add(linearK(i, frame[i]));
    }
    EXPECT_NEAR(trueCelsius(spread.mean()), sceneCelsius, tolerance) << "detector at " << detectorCelsius;
    // Column drift makes 67 mK of it, temporal and row noise 29 mK.
    EXPECT_LT(spread.sigma(), 0.085) << sceneCelsius << " detector at " << detectorCelsius;
  }

  SimulatedCamera camera;
  std::vector<bool> good = std::vector<bool>(kPixels + 1, true);
};

constexpr double kScenes[] = {-10.0, 25.0, 50.0, 120.0};

}  // namespace

TEST(CalibrationSet, TablesGiveTheBlackBodysTemperature) {
  const LogCapture quiet;
  const TemporaryDirectory data;
  ASSERT_TRUE(simulation::writeCalibrationSet(specOf("marlow3"), data.path));
  ASSERT_TRUE(simulation::hasCalibrationSet(specOf("marlow3"), data.path));
  Bench bench(data.path);
  // Between two tables the detector's curvature is cut short: 2 counts at most, 51 mK before 25 degrees.
  constexpr struct {
    int low, high;
    double detector;
  } kPairs[] = {{5, 15, 5.0}, {5, 15, 10.0}, {25, 35, 31.0}, {35, 45, 45.0}};
  for (const auto& [low, high, detector] : kPairs) {
    const auto load = [&](const std::string& folder, int celsius) {
      const std::string digits = celsius < 10 ? "_0" : "_";
      return loadTable(data.path + "/" + folder + "/" + kCamera + digits + std::to_string(celsius) + ".ffc",
                       celsius);
    };
    const auto low25 = load("025", low), high25 = load("025", high);
    const auto low50 = load("050", low), high50 = load("050", high);
    const double w = (detector - low) / (high - low);
    const auto linearK = [&](std::size_t i, double count) {
      const double at25 = (w * high25.data[i] + (1.0 - w) * low25.data[i]) / 32.0;
      const double at50 = (w * high50.data[i] + (1.0 - w) * low50.data[i]) / 32.0;
      return 298.15 + (count - at25) * 25.0 / (at50 - at25);
    };
    for (const double scene : kScenes) bench.expectTrue(scene, detector, 0.1, linearK);
  }
}

TEST(CalibrationSet, PolynomialsGiveTheBlackBodysTemperature) {
  const LogCapture quiet;
  for (const auto form : {PolynomialFiles::CubicBinary, PolynomialFiles::QuadraticText}) {
    const TemporaryDirectory data;
    ASSERT_TRUE(simulation::writeCalibrationSet(specOf("marlow3"), data.path, {false, form}));
    EXPECT_FALSE(std::filesystem::exists(data.path + "/025"));
    const std::string name = data.path + "/pffc/" + kCamera;
    float coldestK = 0.0f, warmestK = 0.0f;
    std::string formula;
    ASSERT_TRUE(loadPFFCMetadata(coldestK, warmestK, formula, name + ".pffc"));
    EXPECT_EQ(formula, form == PolynomialFiles::CubicBinary ? "g=g0+g1*Tk+g2*Tk^2 o=o0+o1*Tk+o2*Tk^2+o3*Tk^3"
                                                            : "g=g0+g1*Tk o=o0+o1*Tk+o2*Tk^2");
    EXPECT_NEAR(coldestK, 278.15, 1e-3);
    EXPECT_NEAR(warmestK, 318.15, 1e-3);
    std::vector<ffcPixelPolyfit> table(kPixels + 1);
    ASSERT_TRUE(calibration::loadPFFCGain(table.data(), formula, 320, 240, name + ".gpffc"));
    ASSERT_TRUE(calibration::loadPFFCOffset(table.data(), formula, 320, 240, name + ".opffc"));
    Bench bench(data.path);
    for (const double detector : {10.0, 31.0, 45.0}) {
      const double t = detector + 273.15;
      const auto linearK = [&](std::size_t i, double count) {
        const auto& p = table[i];
        return (count - (p.o0 + p.o1 * t + p.o2 * t * t + p.o3 * t * t * t)) /
               (p.g0 + p.g1 * t + p.g2 * t * t);
      };
      for (const double scene : kScenes) bench.expectTrue(scene, detector, 0.02, linearK);
    }
  }
}

// Of a detector without noise, drift and stripes: what single precision and the file's numbers leave. The
// counts are dithered, so that their own steps (6 mK) average out.
TEST(CalibrationSet, PolynomialsLeaveNoFixedPattern) {
  constexpr int kDithers = 16;
  const auto& model = *simulation::findCameraModel("marlow3");
  const auto fixed = simulation::makeFixedPattern(model, {5, 1.0, false});
  const auto radiance = [](double celsius) {
    const double low = occupancy(298.15);
    return (occupancy(celsius + 273.15) - low) / (1428.0 / (298.15 * 298.15) * low * (1.0 + low));
  };
  imageAcquisition camera("test", false);
  auto& data = camera.processing;
  data.allocate(320, 240);
  data.polynomials.coefficients = simulation::benchPolynomials(model, fixed);
  data.polynomials.model = PolynomialModel::cubic;
  for (const double detector : {10.0, 31.0, 45.0}) {
    const double d = detector - 25.0;
    camera.device.sensorTemperatureK = static_cast<float>(detector + 273.15);
    ASSERT_TRUE(camera.updatePolyfit());
    for (const double scene : kScenes) {
      std::vector<double> sums(320 * 240);
      image<unsigned short> frame(320, 240);
      for (int dither = 0; dither < kDithers; ++dither) {
        for (std::size_t i = 0; i < sums.size(); ++i) {
          const double count = 4800.0 + fixed.offset[i] + (40.0 + fixed.linearDrift[i]) * d +
                               (0.08 + fixed.quadraticDrift[i]) * d * d +
                               fixed.gain[i] * (1.0 + fixed.gainDrift[i] * d) * radiance(scene);
          frame.data[i] = static_cast<std::uint16_t>(count + (dither + 0.5) / kDithers);
        }
        applyFFC(frame, data.flatField.ffcTables.polynomialGain, data.flatField.ffcTables.polynomialOffset,
                 233.15f, 262.14f, 1);
        for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += frame.data[i];
      }
      Spread linearK;
      for (const double sum : sums) linearK.add(233.15 + 0.004 * sum / kDithers);
      EXPECT_NEAR(trueCelsius(linearK.mean()), scene, 0.02) << "detector at " << detector;
      EXPECT_LE(linearK.sigma(), 0.006) << scene << " detector at " << detector;
    }
  }
}

TEST(CalibrationSet, ThermographicTableTurnsRadianceIntoTemperature) {
  const LogCapture quiet;
  const TemporaryDirectory data;
  ASSERT_TRUE(simulation::writeCalibrationSet(specOf("marlow3"), data.path, {false}));
  std::vector<std::uint16_t> table(65536);
  ASSERT_TRUE(calibration::loadThermographicTable(
      std::span(table).first<65536>(), data.path + "/Marlow 3_233.15_262.14_025_050.tco", LOG_HERE));
  // 2482 is the last level below any black body's radiance; 22500 stands for 323.15 K.
  constexpr std::pair<std::size_t, int> kWanted[] = {
      {0, 0}, {2482, 0}, {10000, 7936}, {16250, 16250}, {22500, 22500}, {30000, 28674}, {65535, 49986}};
  for (const auto& [level, wanted] : kWanted) EXPECT_EQ(table[level], wanted) << level;
  EXPECT_TRUE(std::is_sorted(table.begin(), table.end()));
}

TEST(CalibrationSet, DefectsAreThoseOfTheFrames) {
  const LogCapture quiet;
  const TemporaryDirectory data;
  ASSERT_TRUE(simulation::writeCalibrationSet(specOf("marlow3"), data.path));
  std::vector<std::pair<int, int>> list;
  ASSERT_TRUE(loadBadPixelsList(&list, 320, 240, data.path + "/dpc/" + kCamera + ".dpc"));
  EXPECT_EQ(list.back(), std::make_pair(319, 239));
  const std::set<std::pair<int, int>> marked(list.begin(), list.end());
  SimulatedCamera camera(specOf("marlow3;scene=uniform;fpa=25;housing=0"));
  const auto table = loadTable(data.path + "/025/" + kCamera + "_25.ffc", 25);
  const auto frame = meanFrame(camera, 1);
  int stuck = 0;
  for (std::size_t i = 0; i < kPixels; ++i) {
    if (frame[i] > 0.0 && frame[i] < 16383.0) continue;
    ++stuck;
    EXPECT_TRUE(marked.contains({static_cast<int>(i % 320), static_cast<int>(i / 320)})) << i;
    EXPECT_EQ(table.data[i], frame[i] * 32.0) << i;
  }
  EXPECT_EQ(stuck, 77 + 38);  // of 76,800: 0.1 % dead, 0.05 % at full scale
  EXPECT_NEAR(static_cast<double>(list.size()), stuck + 38, 2.0);  // and as many that flicker, and the word

  // The largest model sends its temperature in columns of its own.
  const auto* hollis = simulation::findCameraModel("hollis12");
  EXPECT_TRUE(simulation::benchDefects(*hollis, {}).empty());
}

TEST(CalibrationSet, WhatCannotBeWrittenIsReported) {
  LogCapture log;
  const TemporaryDirectory data;
  EXPECT_FALSE(simulation::writeCalibrationSet(specOf("marlow3"), "/dev/null/data", {false}));
  EXPECT_EQ(log.count("Cannot create directory '/dev/null/data/dpc'"), 1u);
  ASSERT_TRUE(simulation::writeCalibrationSet(specOf("marlow3"), data.path));
  const std::string table = data.path + "/050/" + kCamera + "_45.ffc";
  std::filesystem::resize_file(table, 307221);
  EXPECT_FALSE(simulation::hasCalibrationSet(specOf("marlow3"), data.path));
  std::filesystem::remove(table);
  std::filesystem::create_directory(table);
  EXPECT_FALSE(simulation::writeCalibrationSet(specOf("marlow3"), data.path));
  EXPECT_TRUE(log.contains(table));
}
