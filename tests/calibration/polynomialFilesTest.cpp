#include "calibration/polynomialFiles.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>

#include "support/LogCapture.h"
#include "support/scratchFiles.h"

namespace {

using calibration::CoefficientLine;
using calibration::CoefficientValues;
using namespace std::string_literals;

using Table = std::vector<ffcPixelPolyfit>;
std::string logarithmic(kLogarithmicFormula);
std::string cubic(kCubicFormula);
std::string quadratic(kQuadraticOffsetFormula);
std::string linear(kLinearFormula);

/// One value per golden file: coefficient k of pixel (x, y), before signs and scales.
float golden(std::size_t x, std::size_t y, std::size_t k) {
  return 100.0f * static_cast<float>(y) + 10.0f * static_cast<float>(x) + static_cast<float>(k) + 0.5f;
}

constexpr float kUntouched = -7.0f;
Table untouched(std::size_t records = 6) {
  return Table(records, {kUntouched, kUntouched, kUntouched, kUntouched, kUntouched, kUntouched, kUntouched});
}

/// A golden file, its loader and writer, which fields it fills, and what the outer fields are scaled by.
struct Format {
  const char* file;
  bool (*load)(ffcPixelPolyfit*, const std::string&);
  bool (*save)(const ffcPixelPolyfit*, const std::string&);
  std::size_t firstField;
  std::size_t fields;
  bool binary;
  float scale;
};
#define LOAD(call) [](ffcPixelPolyfit* t, const std::string& path) { return call; }
#define SAVE(call) [](const ffcPixelPolyfit* t, const std::string& path) { return call; }
const Format kFormats[] = {
    {"first_order.txt", LOAD(loadPFFCP1GainData(t, 3, 2, path)), SAVE(savePFFCP1GainData(t, 3, 2, path)), 0,
     2, false, 1},
    {"first_order.txt", LOAD(loadPFFCP1OffsetData(t, 3, 2, path)), SAVE(savePFFCP1OffsetData(t, 3, 2, path)),
     3, 2, false, 1},
    {"quadratic.txt", LOAD(loadPFFCP2GainData(t, cubic, 3, 2, path)),
     SAVE(savePFFCP2GainData(t, cubic, 3, 2, path)), 0, 3, false, 1},
    {"quadratic.txt", LOAD(loadPFFCP2OffsetData(t, quadratic, 3, 2, path)),
     SAVE(savePFFCP2OffsetData(t, quadratic, 3, 2, path)), 3, 3, false, 1},
    {"logarithmic_gain.txt", LOAD(loadPFFCP2GainData(t, logarithmic, 3, 2, path)),
     SAVE(savePFFCP2GainData(t, logarithmic, 3, 2, path)), 0, 3, false, 1},
    {"logarithmic_offset.txt", LOAD(loadPFFCP2OffsetData(t, logarithmic, 3, 2, path)),
     SAVE(savePFFCP2OffsetData(t, logarithmic, 3, 2, path)), 3, 3, false, 1e6f},
    {".gpffc", LOAD(loadBinaryPFFCP2GainData(t, cubic, 3, 2, path)),
     SAVE(saveBinaryPFFCP2GainData(t, 3, 2, path)), 0, 3, true, 1},
    {".opffc", LOAD(loadBinaryPFFCP3OffsetData(t, cubic, 3, 2, path)),
     SAVE(saveBinaryPFFCP3OffsetData(t, 3, 2, path)), 3, 4, true, 1},
};

std::string formatPath(const Format& format) {
  return goldenPath("calibration_3x2"s + (format.binary ? "" : "_") + format.file);
}

TEST(PolynomialFiles, EveryFormatFillsItsFieldsAndWritesTheSameBytes) {
  const ScratchFolder scratch;
  for (const Format& format : kFormats) {
    const LogCapture log;
    Table table = untouched();
    ASSERT_TRUE(format.load(table.data(), formatPath(format))) << log.text();
    for (std::size_t i = 0; i < 6; ++i) {
      const std::size_t x = i % 3, y = i / 3;
      float fields[7];
      std::memcpy(fields, &table[i], sizeof fields);
      for (std::size_t f = 0; f < 7; ++f) {
        float expected = kUntouched;
        if (f >= format.firstField && f < format.firstField + format.fields) {
          const std::size_t k = f - format.firstField;
          expected = golden(x, y, k) * (k == 1 ? 1.0f : format.scale);
          if (!format.binary && k == 1 && (x + y) % 2 == 1) expected = -expected;
        }
        EXPECT_EQ(fields[f], expected) << format.file << " pixel " << i << " field " << f;
      }
    }
    const std::string copy = scratch.path("copy");
    EXPECT_TRUE(format.save(table.data(), copy)) << log.text();
    EXPECT_EQ(fileContents(copy), fileContents(formatPath(format))) << format.file;
    const std::string detail = format.binary ? std::to_string(6 * format.fields) + " values" : "6 lines"s;
    EXPECT_TRUE(log.contains("File '" + formatPath(format) + "' loaded (" + detail + ")")) << log.text();
    EXPECT_FALSE(format.save(table.data(), scratch.subfolder("folder")));
    EXPECT_FALSE(format.save(nullptr, copy));
    EXPECT_EQ(log.count("Error while saving file"), 2u) << log.text();
  }
}

TEST(PolynomialFiles, LinesMatchToTheLetter) {
  struct Case {
    CoefficientLine format;
    std::string text;
    bool matches;
    CoefficientValues values;
  };
  constexpr auto kFirst = CoefficientLine::firstOrder;
  constexpr auto kQuadratic = CoefficientLine::quadratic;
  constexpr auto kLogGain = CoefficientLine::logarithmicGain;
  constexpr auto kLogOffset = CoefficientLine::logarithmicOffset;
  const Case cases[] = {
      {kFirst, "12.5 - 0.25*Tk", true, {{12.5f, 0.25f, 0}, {'-', '?'}}},
      {kFirst, " \t12.5-0.25*Tk \r", true, {{12.5f, 0.25f, 0}, {'-', '?'}}},
      {kFirst, "-1e-3 + -2*Tk", true, {{-0.001f, -2.0f, 0}, {'+', '?'}}},
      {kFirst, "12,5 - 0.25*Tk", false, {{12.0f, 0, 0}, {',', '?'}}},
      {kFirst, "12.5 * 0.25*Tk", false, {{12.5f, 0, 0}, {'*', '?'}}},
      {kFirst, "12.5 \033 0.25*Tk", false, {{12.5f, 0, 0}, {'?', '?'}}},
      {kFirst, "12.5 ~ 0.25*Tk", false, {{12.5f, 0, 0}, {'~', '?'}}},
      {kFirst, "12.5 - 0.25", false, {{12.5f, 0.25f, 0}, {'-', '?'}}},
      {kFirst, "12.5 - 0.25*tk", false, {{12.5f, 0.25f, 0}, {'-', '?'}}},
      {kFirst, "12.5 - 0.25 *Tk", false, {{12.5f, 0.25f, 0}, {'-', '?'}}},
      {kFirst, "12.5 - 0.25*Tk 1", false, {{12.5f, 0.25f, 0}, {'-', '?'}}},
      {kFirst, "12.5 - 0.25*Tk\0"s, false, {{12.5f, 0.25f, 0}, {'-', '?'}}},
      {kFirst, "", false, {}},
      {kQuadratic, "1 + 2*Tk - 3*Tk^2", true, {{1, 2, 3}, {'+', '-'}}},
      {kQuadratic, "1 + 2*Tk - 3*Tk", false, {{1, 2, 3}, {'+', '-'}}},
      {kLogGain, "1 - 2*Tk + 3*Log[Tk]", true, {{1, 2, 3}, {'-', '+'}}},
      {kLogGain, "1 - 2*Tk + 3*Tk^2", false, {{1, 2, 3}, {'-', '+'}}},
      {kLogOffset, "3.2*^6 + 0.5*Tk - 1.5*^6*Log[Tk]", true, {{3.2f, 0.5f, 1.5f}, {'+', '-'}}},
      {kLogOffset, "3.2 + 0.5*Tk - 1.5*^6*Log[Tk]", false, {{3.2f, 0, 0}, {'?', '?'}}},
  };
  for (const Case& c : cases) {
    CoefficientValues values;
    EXPECT_EQ(calibration::parseCoefficientLine(c.text, c.format, values), c.matches) << c.text;
    EXPECT_EQ(values.number, c.values.number) << c.text;
    EXPECT_EQ(values.sign, c.values.sign) << c.text;
  }
}

TEST(PolynomialFiles, AFaultyLineIsNamedAndEndsTheLoad) {
  const ScratchFolder scratch;
  struct Case {
    std::string text;
    bool second;
    std::size_t faulty;
    const char* message;
  };
  // 2 x 2 pixels: lines 3 and 4 are the second column.
  const Case cases[] = {
      {"1 + 2*Tk\n\n3 + 4*Tk\n5 - 6\n7 + 8*Tk\n", false, 1, "at line 3 (5.000000 - 6.000000, i=1 j=0)"},
      {"1 + 2*Tk\n3 + 4*Tk", false, 1, "at line 3 (0.000000 ? 0.000000, i=1 j=0)"},
      {"1 + 2*Tk - 3*Tk^2\n3 + 4*Tk + 1*Tk^2\n4 + 4*Tk + 1*Tk^2\n5 - 6.25*Tk + x\n", true, 3,
       "at line 4 (5.000000 - 6.250000 + 0.000000, i=1 j=1)"},
  };
  for (const Case& c : cases) {
    const LogCapture log;
    Table table = untouched(4);
    const std::string path = scratch.file("faulty", c.text);
    EXPECT_FALSE(c.second ? loadPFFCP2GainData(table.data(), cubic, 2, 2, path)
                          : loadPFFCP1GainData(table.data(), 2, 2, path));
    EXPECT_TRUE(log.contains("Error while opening file '" + path + "' " + c.message)) << log.text();
    EXPECT_EQ(table[0].g0, 1.0f);
    EXPECT_EQ(table[2].g0, 3.0f);
    EXPECT_EQ(table[c.faulty].g0, kUntouched);
  }
}

TEST(PolynomialFiles, NothingChangesWithoutAProperFile) {
  const ScratchFolder scratch;
  const std::string bytes = fileContents(goldenPath("calibration_3x2.gpffc"));
  for (const std::string& path :
       {scratch.file("shorter", bytes.substr(1)), scratch.file("longer", bytes + "x"),
        scratch.path("missing"), scratch.subfolder("folder"), "/dev/zero"s}) {
    const LogCapture log;
    Table table = untouched();
    EXPECT_FALSE(loadBinaryPFFCP2GainData(table.data(), cubic, 3, 2, path)) << path;
    EXPECT_EQ(table[0].g0, kUntouched) << path;
    EXPECT_TRUE(log.contains("Error while opening file '" + path + "'")) << log.text();
  }
  std::string large = fileContents(goldenPath("calibration_3x2_first_order.txt"));
  large.resize(4096 + 6 * 256, '\n');
  Table loaded = untouched();
  EXPECT_TRUE(loadPFFCP1GainData(loaded.data(), 3, 2, scratch.file("large", large)));
  for (const std::string& path :
       {scratch.path("missing"), scratch.path("folder"), scratch.file("vast", large + '\n')}) {
    const LogCapture log;
    Table table = untouched();
    EXPECT_FALSE(loadPFFCP1GainData(table.data(), 3, 2, path)) << path;
    EXPECT_EQ(log.count("Error while opening file '" + path + "'"), 1u) << log.text();
    EXPECT_FALSE(log.contains("at line")) << log.text();
  }
  const LogCapture log;
  EXPECT_FALSE(loadPFFCP1GainData(nullptr, 3, 2, ""));
  EXPECT_FALSE(loadBinaryPFFCP2GainData(nullptr, cubic, 3, 2, ""));
  EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST(PolynomialFiles, MetadataIsTwoNumbersAndAWord) {
  const ScratchFolder scratch;
  const LogCapture log;
  float low = 1.0f, high = 2.0f;
  std::string formula = "before";
  for (const char* text : {"", "280", "280 x", "280 330", "280 330 \n ", "nan 330 g", "280 inf g",
                           "280,5 330 g", "280 330 g\033[0m"}) {
    EXPECT_FALSE(loadPFFCMetadata(low, high, formula, scratch.file("bad", text))) << text;
  }
  EXPECT_FALSE(loadPFFCMetadata(low, high, formula, scratch.file("bad", "1 2 " + std::string(256, 'g'))));
  EXPECT_FALSE(loadPFFCMetadata(low, high, formula, scratch.path("missing")));
  EXPECT_FALSE(loadPFFCMetadata(low, high, formula, "")) << "no file was asked for, none is missed";
  EXPECT_EQ(log.count("Error while opening file '"), 11u) << log.text();
  EXPECT_EQ(formula, "before");
  EXPECT_EQ(low, 1.0f);
  EXPECT_TRUE(loadPFFCMetadata(low, high, formula, scratch.file("long", "1 2 " + std::string(255, '~'))));

  const std::string path =
      scratch.file("good.pffc", "283.15\t318.4 g=g0+g1*Tk+g2*log(Tk)_o=o0+o1*Tk+o2*log(Tk)\nrest");
  EXPECT_TRUE(loadPFFCMetadata(low, high, formula, path));
  EXPECT_EQ(low, 283.15f);
  EXPECT_EQ(high, 318.4f);
  EXPECT_EQ(polynomialModel(formula), PolynomialModel::logarithmic);
  EXPECT_TRUE(log.contains("File '" + path + "' loaded (" + logarithmic + ")")) << log.text();

  EXPECT_TRUE(savePFFCMetadata(0.1f, 300.0f, quadratic, path));
  EXPECT_EQ(fileContents(path), "0.1 300 g=g0+g1*Tk_o=o0+o1*Tk+o2*Tk^2\n");
  EXPECT_TRUE(loadPFFCMetadata(low, high, formula, scratch.file("good", "1 2 g=g0+g1*Tk;o=o0+o1*Tk")));
  EXPECT_EQ(formula, linear);
}

TEST(PolynomialFiles, TextKeepsEveryBitOfAnyFloat) {
  const ScratchFolder scratch;
  std::mt19937 random(20);
  Table table(17 * 5);
  for (ffcPixelPolyfit& record : table) {
    std::uint32_t bits[7];
    for (std::uint32_t& word : bits) {
      do word = static_cast<std::uint32_t>(random());
      while ((word & 0x7F800000u) == 0x7F800000u);  // no infinity, no NaN
    }
    std::memcpy(&record, bits, sizeof bits);
  }
  table[0].g1 = -0.0f;
  table[1].g2 = std::numeric_limits<float>::denorm_min();
  ASSERT_TRUE(savePFFCP2GainData(table.data(), cubic, 17, 5, scratch.path("gain")));
  ASSERT_TRUE(savePFFCP2OffsetData(table.data(), quadratic, 17, 5, scratch.path("offset")));
  Table loaded = table;
  for (ffcPixelPolyfit& record : loaded)
    record.g0 = record.g1 = record.g2 = record.o0 = record.o1 = record.o2 = 1;
  ASSERT_TRUE(loadPFFCP2GainData(loaded.data(), cubic, 17, 5, scratch.path("gain")));
  ASSERT_TRUE(loadPFFCP2OffsetData(loaded.data(), quadratic, 17, 5, scratch.path("offset")));
  EXPECT_EQ(std::memcmp(table.data(), loaded.data(), table.size() * sizeof table[0]), 0);
}

TEST(PolynomialFiles, TheFormatFollowsTheSizeThenTheFormula) {
  const std::string first = goldenPath("calibration_3x2_first_order.txt");
  const std::string quadraticText = goldenPath("calibration_3x2_quadratic.txt");
  const std::string binaryGain = goldenPath("calibration_3x2.gpffc");
  const std::string binaryOffset = goldenPath("calibration_3x2.opffc");
  const std::string logGain = goldenPath("calibration_3x2_logarithmic_gain.txt");
  const std::string logOffset = goldenPath("calibration_3x2_logarithmic_offset.txt");
  struct Case {
    std::string formula, gain, offset;
    bool gainLoads, offsetLoads;
  };
  const Case cases[] = {
      {linear, first, first, true, true},
      {quadratic, first, quadraticText, true, true},
      {cubic, quadraticText, binaryOffset, true, true},
      {cubic, binaryGain, quadraticText, true, false},  // no text form of the third order
      {logarithmic, logGain, logOffset, true, true},
      {logarithmic, quadraticText, quadraticText, false, false},
      {linear, binaryGain, binaryOffset, true, true},
      {"g=1 o=0", first, first, false, false},
      {linear, "", "", false, false},
  };
  for (const Case& c : cases) {
    std::string formula = c.formula;
    const LogCapture log;
    Table table = untouched();
    EXPECT_EQ(calibration::loadPFFCGain(table.data(), formula, 3, 2, c.gain), c.gainLoads) << c.formula;
    EXPECT_EQ(calibration::loadPFFCOffset(table.data(), formula, 3, 2, c.offset), c.offsetLoads) << c.formula;
    EXPECT_EQ(table[4].g0, c.gainLoads ? golden(1, 1, 0) : kUntouched) << c.formula;
    EXPECT_EQ(std::abs(table[4].o1), c.offsetLoads ? golden(1, 1, 1) : -kUntouched) << c.formula;
  }
}

}  // namespace
