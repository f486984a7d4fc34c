#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "common/format.h"
#include "core/settings.h"
#include "processing/process.h"
#include "processing/stages/stages.h"
#include "support/LogCapture.h"

namespace {

using Levels = std::vector<std::uint16_t>;

template <typename T>
void fill(image<T>& picture, T value) {
  std::fill_n(picture.data, picture.pixelCount(), value);
}
Levels pixelsOf(const image<unsigned short>& p) { return {p.data, p.data + p.pixelCount()}; }

/// A camera with all tables. Levels at N = 32: slot 0 8000 and 9000, slot 1 8640 and 9800; target 7000.
/// Polynomial maps: gain 0.05, offset 1000.
class CorrectionStages : public testing::Test {
 protected:
  CorrectionStages() {
    settings::create(0, nullptr);
    open(4, 3);
  }
  ~CorrectionStages() override { settings::release(); }

  void open(std::uint16_t width, std::uint16_t height) {
    data.allocate(width, height);
    for (auto* table : {&tables.slot0High, &tables.slot1Low, &tables.slot1High})
      table->allocate(width, height);
    fill(data.ffcAccumulator, 8000u * 32);
    fill(tables.slot0High, 9000u * 32);
    fill(tables.slot1Low, 8640u * 32);
    fill(tables.slot1High, 9800u * 32);
    for (auto* map : {&tables.polynomialGain, &tables.polynomialOffset}) map->allocate(width, height);
    fill(tables.polynomialGain, 0.05f);
    fill(tables.polynomialOffset, 1000.0f);
    data.calibration.ffcFramesToTake = 32;
    flatField.ffcMean = 7000;
    flatField.shutterlessCorrection = true;
    flatField.twoTableFFC = true;
  }
  /// The first pixel of a frame of `level` after a stage.
  std::uint16_t after(void (*stage)(FrameContext&), std::uint16_t level, std::uint64_t number = 9,
                      bool filled = true) {
    fill(data.rawImage, level);
    camera.delivered = {number, filled, 0, 0};
    FairLock lock(frameMutex);
    FrameContext frame(camera);
    stage(frame);
    return data.rawImage.data[0];
  }

  imageAcquisition camera{"test", false};
  processData<unsigned short>& data = camera.processing;
  FlatFieldState& flatField = data.flatField;
  FlatFieldTables& tables = flatField.ffcTables;
};

constexpr std::uint16_t kRaw = 8064;

TEST_F(CorrectionStages, ATableFarFromItsTargetCorrectsAsWell) {
  flatField.twoTableFFC = false;
  flatField.ffcMode = 0;
  fill(data.ffcAccumulator, 60000u * 32);  // 53000 above the target: more than a kept shift holds
  EXPECT_EQ(after(applyFlatField, 60064), 7064);
  EXPECT_EQ(after(applyFlatField, kRaw), 0);
}

// kRaw against slot 0: 64 above the low table. The pairs' targets: (8000 + 9000) / 2 and (8640 + 9800) / 2.
TEST_F(CorrectionStages, SwitchesChooseTheFlatField) {
  struct Case {
    bool pairs;
    int mode, slot;
    bool display;
    std::uint16_t expected;
  };
  const Case cases[] = {
      {true, 2, 0, false, 30012},  // ((8064 - 1000) * 0.05 - 233.15) * 250
      {true, 1, 0, false, 16874}, {true, 1, 1, false, 16874}, {true, 1, 0, true, 8000},
      {true, 1, 1, true, 8640},   {true, 0, 0, false, 8064},  // 8064 - 8500 + 8500 at weight 0.5
      {true, 0, 1, false, 8064},  {true, 0, 0, true, 8064},   // nothing to show: corrected as usual
      {false, 0, 0, false, 7064}, {false, 0, 1, false, 6424}, {false, 0, 0, true, 7064},
      {false, 1, 0, false, kRaw}, {false, 2, 0, false, kRaw}, {false, 1, 0, true, kRaw},
      {true, 3, 0, false, kRaw},
  };
  for (const Case& c : cases) {
    settings::release();
    settings::create(0, nullptr);
    if (c.display) settings::inst()->parseParam("displayFFCData");
    flatField.twoTableFFC = c.pairs;
    flatField.ffcMode = c.mode;
    flatField.ffcSlot = static_cast<std::uint16_t>(c.slot);
    flatField.ffcWeight = c.mode == 0 ? 0.5f : 0.0f;
    const std::string name = format("{:d} {:d} {:d} {:d}", c.pairs, c.mode, c.slot, c.display);
    EXPECT_EQ(after(applyFlatField, kRaw), c.expected) << name;
    flatField.shutterlessCorrection = false;
    EXPECT_EQ(after(applyFlatField, kRaw), kRaw) << name;
    flatField.shutterlessCorrection = true;
    data.calibration.ffcCalibrating = true;
    EXPECT_EQ(after(applyFlatField, kRaw), kRaw) << name;
    data.calibration.ffcCalibrating = false;
    // The slot is judged wherever something would be done.
    flatField.ffcSlot = 2;
    LogCapture log;
    EXPECT_EQ(after(applyFlatField, kRaw), kRaw) << name;
    const bool nothing = (!c.pairs && c.mode != 0) || c.mode == 3;
    EXPECT_EQ(log.count("FFC slot out of range!"), nothing ? 0u : 1u) << name;
  }
}

TEST_F(CorrectionStages, UnusableTablesAreSkipped) {
  struct Case {
    const char* what;
    int mode;
    std::function<void()> damage;
  };
  const Case cases[] = {
      {"N", 1, [this] { data.calibration.ffcFramesToTake = 0; }},
      {"N of a pair", 0, [this] { data.calibration.ffcFramesToTake = 0; }},
      {"missing", 0, [this] { tables.slot0High.release(); }},
      {"size", 1, [this] { tables.slot1High.allocate(4, 4); }},
      {"same count, other shape", 1, [this] { tables.slot1Low.allocate(3, 4); }},
      {"map", 2, [this] { tables.polynomialOffset.release(); }},
      {"shown", 1,
       [this] {
         settings::inst()->parseParam("displayFFCData");
         data.calibration.ffcFramesToTake = 0;
       }},
      {"shown map", 2, [this] { tables.polynomialGain.release(); }},
  };
  for (const Case& c : cases) {
    open(4, 3);
    flatField.ffcMode = c.mode;
    EXPECT_NE(after(applyFlatField, 9000), 9000) << c.what;
    c.damage();
    EXPECT_EQ(after(applyFlatField, 9000), 9000) << c.what;
  }
}

TEST_F(CorrectionStages, WeightsAndPairTargetsFollowTheTables) {
  flatField.ffcMode = 0;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const auto& [weight, expected] :
       {std::pair{0.0f, 8564}, {1.0f, 7564}, {7.0f, 7564}, {-0.5f, 8564}, {nan, 8564}}) {
    flatField.ffcWeight = weight;
    EXPECT_EQ(after(applyFlatField, kRaw), expected) << weight;
  }
  // A refresh swaps tables in; the low one then is at 8100: 8064 - 8100 + (8100 + 9000) / 2.
  flatField.ffcWeight = 0.0f;
  image<unsigned int> loaded(4, 3);
  fill(loaded, 8100u * 32);
  data.slot0Low().swap(loaded);
  EXPECT_EQ(after(applyFlatField, kRaw), 8514);
  // A calibration makes it anew where it stands.
  data.calibration.ffcCalibrating = true;
  after(applyFlatField, kRaw);
  fill(data.slot0Low(), 8200u * 32);
  data.calibration.ffcCalibrating = false;
  EXPECT_EQ(after(applyFlatField, kRaw), 8464);
  // N alone: at 16, levels double: 16400 - 16400 + 17200.
  data.calibration.ffcFramesToTake = 16;
  EXPECT_EQ(after(applyFlatField, 16400), 17200);
  // With one table by how much it moves each pixel is kept, too.
  flatField.twoTableFFC = false;
  data.calibration.ffcFramesToTake = 32;
  const int kept = after(applyFlatField, kRaw);
  data.calibration.ffcCalibrating = true;
  after(applyFlatField, kRaw);
  fill(data.slot0Low(), 8300u * 32);
  data.calibration.ffcCalibrating = false;
  EXPECT_EQ(after(applyFlatField, kRaw), kept - 100);
  flatField.ffcMean += 7;
  EXPECT_EQ(after(applyFlatField, kRaw), kept - 93);
}

// 65 K above the range's start in front of 25 degC, 250 levels per kelvin. What the correction keeps of the
// pixels must not outlive what it was made from.
TEST_F(CorrectionStages, KeptReferencesFollowTheTables) {
  flatField.ffcMode = 1;
  flatField.ffcWeight = 0.0f;
  const auto expectLevel = [this](std::uint16_t raw, int level) {
    EXPECT_NEAR(after(applyFlatField, raw), level, 1) << raw;
    EXPECT_NEAR(after(applyFlatField, raw), level, 1) << raw << " again";
  };
  expectLevel(kRaw, 16875);
  flatField.ffcWeight = 1.0f;
  expectLevel(9000, 16250);
  data.radiometry.rangeMinK += 10.0f;
  expectLevel(9000, 13750);
  data.radiometry.rangeSpanK *= 2.0f;
  expectLevel(9000, 6875);
  data.radiometry.rangeSpanK *= 0.5f;
  flatField.ffcWeight = 0.0f;
  image<unsigned int> loaded(4, 3);
  fill(loaded, 8100u * 32);
  data.slot0Low().swap(loaded);
  expectLevel(8100, 13750);
  data.calibration.ffcCalibrating = true;
  after(applyFlatField, kRaw);
  fill(data.slot0Low(), 8200u * 32);
  data.calibration.ffcCalibrating = false;
  expectLevel(8200, 13750);
  data.calibration.ffcFramesToTake = 16;
  expectLevel(16400, 13750);
}

TEST_F(CorrectionStages, ThermographicTableIsGated) {
  auto& radiometry = data.radiometry;
  radiometry.thermographicTable.resize(65536);
  for (std::size_t p = 0; p < 65536; ++p)
    radiometry.thermographicTable[p] = static_cast<std::uint16_t>(65535 - p);
  EXPECT_EQ(after(correctTemperatures, 100), 100);
  radiometry.radiometricCorrection = true;
  EXPECT_EQ(after(correctTemperatures, 100), 65435);
  EXPECT_EQ(after(correctTemperatures, 65535), 0);
  flatField.shutterlessCorrection = false;
  EXPECT_EQ(after(correctTemperatures, 100), 100);
  flatField.shutterlessCorrection = data.calibration.ffcCalibrating = true;
  EXPECT_EQ(after(correctTemperatures, 100), 100);
  data.calibration.ffcCalibrating = false;
  EXPECT_EQ(after(correctTemperatures, 100), 65435);
  radiometry.thermographicTable.resize(65535);
  EXPECT_EQ(after(correctTemperatures, 100), 100);
}

// A table at level 8000 of 8 frames, kept at 7000: a level of 8064 becomes 7064.
TEST_F(CorrectionStages, TheManualTableIsGated) {
  ManualTable& manual = data.manual;
  const auto reset = [&] {
    flatField.flatFieldCorrection = true;
    manual.sums.allocate(4, 3);
    fill(manual.sums, 8000u * 8);
    manual.frames = 8;
    manual.mean = 7000;
  };
  reset();
  flatField.shutterlessCorrection = false;  // a switch of other stages
  EXPECT_EQ(after(applyManualFlatField, kRaw), 7064);
  const std::function<void()> changes[] = {[this] { flatField.flatFieldCorrection = false; },
                                           [&] { manual.frames = 0; },
                                           [&] { manual.sums.release(); },
                                           [&] { manual.sums.allocate(4, 4); },
                                           [&] { manual.sums.allocate(3, 4); },
                                           [&] {
                                             data.allocate(4, 3);  // another stream
                                             fill(manual.sums, 8000u * 8);
                                           }};
  for (const auto& change : changes) {
    reset();
    change();
    EXPECT_EQ(after(applyManualFlatField, kRaw), kRaw) << "change " << &change - changes;
  }
}

TEST_F(CorrectionStages, TheTemperatureWordIsRepairedWithTheDefects) {
  for (const std::uint16_t width : {std::uint16_t{320}, std::uint16_t{640}, std::uint16_t{319}}) {
    open(width, 2);
    data.defects.defectivePixelsCorrection = true;
    data.defects.list.assign(65535, {0, 0});
    data.defects.list[65533] = {2, 0};  // the last with room behind it
    const auto passOver = [this, width] {
      fill(data.rawImage, std::uint16_t{500});
      data.rawImage.data[0] = data.rawImage.data[2] = 9;
      data.rawImage.data[width * 2 - 1] = 60000;
      FairLock lock(frameMutex);
      FrameContext frame(camera);
      repairDefects(frame);
      return data.rawImage.data[width * 2 - 1];
    };
    data.calibration.ffcCalibrating = true;
    EXPECT_EQ(passOver(), 60000);
    data.calibration.ffcCalibrating = false;
    EXPECT_EQ(passOver(), width == 319 ? 60000 : 500);
    EXPECT_EQ(passOver(), width == 319 ? 60000 : 500);
    EXPECT_EQ(data.rawImage.data[0], 500);
    EXPECT_EQ(data.rawImage.data[2], 500);
    EXPECT_EQ(data.defects.list.size(), 65535u);
    EXPECT_EQ(data.defects.list.back(), (std::pair{0, 0}));
  }
}

TEST_F(CorrectionStages, TheRunningAverageStartsWithAPicture) {
  auto& output = data.output;
  output.temporalFiltering = 0.5f;
  EXPECT_EQ(after(filterTemporally, 0, 1, false), 0);  // the zeros a stream begins with
  EXPECT_EQ(after(filterTemporally, 101, 2), 101);
  EXPECT_EQ(after(filterTemporally, 200, 3), 150);  // 150.5
  EXPECT_EQ(after(filterTemporally, 0, 4, false), 0);
  EXPECT_EQ(after(filterTemporally, 200, 5), 175);
  data.calibration.shutterFFCRunning = true;
  EXPECT_EQ(after(filterTemporally, 900, 6), 900);
  data.calibration.shutterFFCRunning = false;
  data.calibration.ffcCalibrating = true;
  EXPECT_EQ(after(filterTemporally, 900, 6), 900);
  data.calibration.ffcCalibrating = false;
  output.temporalFiltering = 0.0f;
  EXPECT_EQ(after(filterTemporally, 900, 7), 900);
  output.temporalFiltering = 1.0f;
  EXPECT_EQ(after(filterTemporally, 900, 8), 175);
  data.allocate(data.rawImage.width, data.rawImage.height);  // another stream
  EXPECT_EQ(after(filterTemporally, 900, 9), 900);
  // A first frame starts it anew, even one that was not filtered; averaging 65534 with itself gives 65533.
  output.temporalFiltering = 0.0f;
  EXPECT_EQ(after(filterTemporally, 900, 1), 900);
  output.temporalFiltering = 0.1f;
  EXPECT_EQ(after(filterTemporally, 65534, 2), 65534);
  EXPECT_EQ(after(filterTemporally, 65534, 1), 65534);
  EXPECT_EQ(pixelsOf(data.temporalState), Levels(12, 65534));
}

TEST(UpdatePolyfit, EvaluatesWhenTheSensorHasMoved) {
  imageAcquisition camera("test", false);
  auto& data = camera.processing;
  auto& polynomials = data.polynomials;
  data.allocate(3, 5);
  camera.device.sensorTemperatureK = 0.0f;
  EXPECT_FALSE(camera.updatePolyfit());  // no polynomials
  polynomials.coefficients.assign(15, {2.0f, 1.0f, 0.0f, 4.0f, 3.0f, 1.0f, 0.0f});
  EXPECT_FALSE(camera.updatePolyfit());  // no model
  polynomials.model = PolynomialModel::linear;
  camera.device.sensorTemperatureK = std::numeric_limits<float>::quiet_NaN();
  EXPECT_FALSE(camera.updatePolyfit());

  const auto& tables = data.flatField.ffcTables;
  camera.device.sensorTemperatureK = 0.0f;
  EXPECT_TRUE(camera.updatePolyfit());  // the first one is due at any temperature
  EXPECT_EQ(tables.polynomialGain.data[14], 0.5f);
  EXPECT_FALSE(data.tableStage.gainRange.known());
  camera.device.sensorTemperatureK = 2.0049f;
  EXPECT_TRUE(camera.updatePolyfit());
  EXPECT_EQ(polynomials.evaluatedK, 2.0f);  // compared with the next one; evaluated was what was measured
  EXPECT_FLOAT_EQ(tables.polynomialOffset.data[14], 10.0147f);
  for (const auto& [temperature, moved] : {std::pair{2.0098f, false}, {1.991f, false}, {2.0102f, true}}) {
    camera.device.sensorTemperatureK = temperature;
    EXPECT_EQ(camera.updatePolyfit(), moved) << temperature;
  }
  // 2 K, cubic: offset 4 + 6 + 4 = 14, in one pixel 3 more; gain 1 / 4, one 1 / 8, one 1 / 0.
  polynomials.model = PolynomialModel::cubic;
  polynomials.evaluated = false;
  polynomials.coefficients[7].o0 = 7.0f;
  polynomials.coefficients[12].g0 = 6.0f;
  polynomials.coefficients[3].g0 = -2.0f;
  camera.device.sensorTemperatureK = 2.0f;
  ASSERT_TRUE(camera.updatePolyfit());
  EXPECT_TRUE(std::isinf(tables.polynomialGain.data[3]));
  EXPECT_EQ(data.tableStage.gainRange.low, 0.125f);
  EXPECT_EQ(data.tableStage.gainRange.high, 0.25f);
  EXPECT_EQ(data.tableStage.offsetRange.low, 14.0f);
  EXPECT_EQ(data.tableStage.offsetRange.high, 17.0f);
  for (const auto model : {PolynomialModel::linear, PolynomialModel::quadraticOffset, PolynomialModel::cubic,
                           PolynomialModel::logarithmic}) {
    polynomials.model = model;
    polynomials.evaluated = false;
    EXPECT_TRUE(camera.updatePolyfit()) << static_cast<int>(model);
  }
  polynomials.coefficients.pop_back();
  camera.device.sensorTemperatureK = 9.0f;
  EXPECT_FALSE(camera.updatePolyfit());  // of another size
}

}  // namespace
