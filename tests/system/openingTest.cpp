// What opening a camera sends and loads.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>

#include "calibration/polynomialFiles.h"
#include "common/format.h"
#include "support/SdkRig.h"
#include "support/golden.h"
#include "support/scratchFiles.h"
#include "support/waitFor.h"

namespace {

constexpr int kTimeoutMs = 20000;

/// What passed the extension unit, in the words of the golden files.
std::vector<std::string> traffic(const simulation::SimulatedCamera& camera) {
  std::vector<std::string> lines;
  for (const auto& transfer : camera.transfers()) {
    lines.push_back(transfer.set ? format("SET {:d} {:s}", transfer.selector, transfer.text)
                                 : format("GET {:d} {:d}", transfer.selector, transfer.sizeBytes));
  }
  return lines;
}

}  // namespace

TEST(Opening, SendsTheCommandsOfTheModelInOrder) {
  const char* const files[] = {"registers_marlow3.txt", "registers_bramble6.txt", "registers_hollis12.txt"};
  for (const bool bypassed : {false, true}) {
    SdkRig rig("marlow3,bramble6,hollis12;step=on");
    if (bypassed) rig.sdk->parseCoreParameter("bypassSensorSetup");
    for (std::size_t i = 0; i < 3; ++i) {
      const Ombrix camera(static_cast<int>(i));
      std::vector<std::string> expected = goldenLines(files[i]);
      // Opening begins with what comes up to the part number; the kernel test goes on with the setters.
      expected.erase(std::find(expected.begin(), expected.end(), "GET 6 32") + 1, expected.end());
      // Only the raw video mode remains of the start-up list.
      if (bypassed && i == 0) expected.erase(expected.begin() + 2, expected.begin() + 16);
      std::vector<std::string> sent = traffic(rig.platform->camera(i));
      ASSERT_GE(sent.size(), expected.size());
      sent.resize(expected.size());
      EXPECT_EQ(sent, expected) << files[i] << (bypassed ? ", bypassed" : "");
    }
  }
}

namespace {

constexpr std::size_t kOddPixel = 3 * 320 + 5;  // row 3, column 5
using Table = std::vector<ffcPixelPolyfit>;

/// Coefficients that every file format holds exactly; one pixel differs.
Table coefficients() {
  Table table(320 * 240, {2.0f, 0.25f, 0.5f, 4.0f, 3.0f, 0.125f, 0.0625f});
  table[kOddPixel] = {8.0f, 0.5f, 0.25f, 16.0f, -2.0f, 0.25f, 0.03125f};
  return table;
}

using Writer = std::function<bool(const ffcPixelPolyfit*, const std::string&)>;
Writer firstGain = [](auto* t, auto& path) { return savePFFCP1GainData(t, 320, 240, path); };
Writer firstOffset = [](auto* t, auto& path) { return savePFFCP1OffsetData(t, 320, 240, path); };
Writer binaryGain = [](auto* t, auto& path) { return saveBinaryPFFCP2GainData(t, 320, 240, path); };
Writer binaryOffset = [](auto* t, auto& path) { return saveBinaryPFFCP3OffsetData(t, 320, 240, path); };
Writer secondGain(std::string_view formula) {
  return [=](auto* t, auto& path) { return savePFFCP2GainData(t, std::string(formula), 320, 240, path); };
}
Writer secondOffset(std::string_view formula) {
  return [=](auto* t, auto& path) { return savePFFCP2OffsetData(t, std::string(formula), 320, 240, path); };
}

/// The three files of a camera under the data directory "set".
void writePolynomials(const ScratchFolder& scratch, const std::string& name, std::string_view formula,
                      const Writer& gain, const Writer& offset) {
  std::filesystem::create_directories(scratch.path("set/pffc"));
  const Table table = coefficients();
  const std::string base = scratch.path("set/pffc/" + name + "_466001359");
  ASSERT_TRUE(savePFFCMetadata(278.15f, 318.15f, std::string(formula), base + ".pffc"));
  ASSERT_TRUE(gain(table.data(), base + ".gpffc"));
  ASSERT_TRUE(offset(table.data(), base + ".opffc"));
}

}  // namespace

TEST(OpeningPolynomials, AreLoadedByFormulaAndEvaluatedAtTheSensorTemperature) {
  using Value = double (*)(const ffcPixelPolyfit&, double);
  const Value linearG = [](const ffcPixelPolyfit& c, double t) { return c.g0 + c.g1 * t; };
  const struct {
    const char* name;  // the model's or the sensor's
    std::string_view formula;
    Writer writeGain, writeOffset;
    Value gain, offset;
  } cases[] = {
      {"Marlow 3", kLinearFormula, firstGain, firstOffset, linearG,
       [](auto& c, double t) { return c.o0 + c.o1 * t; }},
      {"Quor320", kQuadraticOffsetFormula, firstGain, secondOffset(kQuadraticOffsetFormula), linearG,
       [](auto& c, double t) { return c.o0 + c.o1 * t + c.o2 * t * t; }},
      {"Marlow 3", kCubicFormula, binaryGain, binaryOffset,
       [](auto& c, double t) { return c.g0 + c.g1 * t + c.g2 * t * t; },
       [](auto& c, double t) { return c.o0 + c.o1 * t + c.o2 * t * t + c.o3 * t * t * t; }},
      {"Quor320", kLogarithmicFormula, secondGain(kLogarithmicFormula), secondOffset(kLogarithmicFormula),
       [](auto& c, double t) { return c.g0 + c.g1 * t + c.g2 * std::log(t); },
       [](auto& c, double t) { return c.o0 + c.o1 * t + c.o2 * std::log(t); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.formula));
    const ScratchFolder scratch;
    SdkRig rig("marlow3;scene=coded;step=on;fpa=25");
    writePolynomials(scratch, c.name, c.formula, c.writeGain, c.writeOffset);
    Ombrix camera(0, scratch.path("set"));
    auto& acquisition = SdkRig::acquisition(0);
    const auto& data = acquisition.processing;
    EXPECT_EQ(data.flatField.ffcMode, 2);
    EXPECT_TRUE(data.flatField.twoTableFFC);
    EXPECT_TRUE(camera.getShutterlessCorrection());
    // The first sample brings the temperature, the next frame is corrected by it.
    ASSERT_EQ(rig.platform->pump(0, 1), 1u);
    ASSERT_TRUE(camera.getRawFrame(nullptr, nullptr, kTimeoutMs));
    const auto warm = [&] { return std::abs(camera.getSensorTemperature() - 25.0f) < 0.02f; };
    ASSERT_TRUE(waitFor(warm));
    ASSERT_EQ(rig.platform->pump(0, 1), 1u);
    ASSERT_TRUE(camera.getRawFrame(nullptr, nullptr, kTimeoutMs));
    EXPECT_NEAR(data.polynomials.evaluatedK, 298.15f, 0.02f);
    const Table table = coefficients();
    for (const std::size_t pixel : {std::size_t{0}, kOddPixel, kOddPixel + 1, table.size() - 1}) {
      const double kelvin = static_cast<double>(acquisition.device.sensorTemperatureK);
      const double gain = 1.0 / c.gain(table[pixel], kelvin), offset = c.offset(table[pixel], kelvin);
      const auto& maps = data.flatField.ffcTables;
      EXPECT_NEAR(static_cast<double>(maps.polynomialGain.data[pixel]) / gain, 1.0, 1e-5) << pixel;
      EXPECT_NEAR(static_cast<double>(maps.polynomialOffset.data[pixel]) / offset, 1.0, 1e-5) << pixel;
    }
  }
}
