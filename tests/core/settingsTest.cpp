#include "core/settings.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "support/LogCapture.h"

namespace {

/// A field, the text it shows by default, and a parameter with what the field shows after it.
struct Row {
  const char* parameter;
  const char* before;
  const char* after;
  std::string (*read)(const settings&);
};

template <typename T>
std::string text(const std::atomic<T>& value) {
  std::ostringstream out;
  out << value.load();
  return out.str();
}
std::string text(const SharedText& value) { return value.get(); }

#define FIELD(name) [](const settings& s) { return text(s.name); }
#define FLAG(name) \
  { #name, "0", "1", FIELD(name) }

const Row kRows[] = {
    {"deviceIndex=3", "0", "3", FIELD(deviceIndex)},
    {"compressionLevel=9", "4", "9", FIELD(compressionLevel)},
    FLAG(ffmpegVerbose),
    {"v4l2Loopback=/dev/video9", "none", "/dev/video9", FIELD(v4l2Loopback)},
    {"capture=tape", "none", "tape", FIELD(capture)},
    {"bitRate=512", "1024", "512", FIELD(bitRate)},
    FLAG(fineRotation),
    {"windowPosX=-5", "-1", "-5", FIELD(windowPosX)},
    {"windowPosY=40", "-1", "40", FIELD(windowPosY)},
    {"disableConsoleLog", "1", "0", FIELD(consoleLog)},
    {"font=Sans_8", "Calibri_24_AA", "Sans_8", FIELD(font)},
    {"xShadowOffset=0.25", "0.0035", "0.25", FIELD(xShadowOffset)},
    {"yShadowOffset=-0.5", "0.0035", "-0.5", FIELD(yShadowOffset)},
    {"FFCValidationTemperature=30.5", "25", "30.5", FIELD(FFCValidationTemperature)},
    FLAG(displaySensorTemperature),
    FLAG(autoCalibration),
    FLAG(rawPassthruDemo),
    FLAG(snapshotDemo),
    FLAG(splitDemo),
    FLAG(colorDemo),
    FLAG(displayHistogram),
    FLAG(displayTarget),
    FLAG(displayColorBar),
    FLAG(displayImageSize),
    FLAG(testPattern),
    FLAG(headless),
    FLAG(profiling),
    FLAG(verbose),
    FLAG(USBVerbose),
    FLAG(USBDebug),
    FLAG(UVCVerbose),
    FLAG(UVCDebug),
    FLAG(execVerbose),
    FLAG(fullscreen),
    {"disableColorPresetMode", "1", "0", FIELD(colorPresetMode)},
    FLAG(bypassSensorSetup),
    FLAG(cookedSnapshot),
    FLAG(colorSnapshot),
    FLAG(cookedTiffSnapshot),
    FLAG(thermalTiffSnapshot),
    FLAG(digitalZoom),
    FLAG(unlockFrameRate),
    FLAG(disableTextureSync),
    FLAG(FFCValidation),
    FLAG(displayFFCData),
    FLAG(displayMinMax),
    FLAG(printMinMaxPos),
    FLAG(printAcqRawMinMax),
    FLAG(disableComposite),
    FLAG(displayFrameRate),
    FLAG(jpgFrameDump),
    FLAG(tiffFrameDump),
    FLAG(tiffFrameReplay),
    {"deviceName=left", "", "left", FIELD(deviceName)},
    {"networkInterface=eth1", "", "eth1", FIELD(networkInterface)},
    {"sensorSerial=4294967295", "0", "4294967295", FIELD(sensorSerial)},
    {"processingUnits=8", "0", "8", FIELD(processingUnits)},
    FLAG(displaySensorSerial),
    {"proxy=a=b", "", "a=b", FIELD(proxy)},
    FLAG(MarlowV4L2),
    FLAG(BrambleV4L2),
    FLAG(HollisV4L2),
    FLAG(BosonV4L2),
    FLAG(BosonDemo),
    FLAG(reattachKernelDriver),
    FLAG(TINTQuirk),
};

/// Every field of the record, as texts.
std::vector<std::string> snapshot(const settings& s) {
  std::vector<std::string> values;
  for (const Row& row : kRows) values.push_back(row.read(s));
  values.push_back(text(s.v4l2LoopbackOn));
  values.push_back(text(s.spareText));
  return values;
}

std::vector<std::string> defaults() {
  std::vector<std::string> values;
  for (const Row& row : kRows) values.push_back(row.before);
  values.push_back("0");
  values.push_back("");
  return values;
}

class SettingsTest : public testing::Test {
 protected:
  SettingsTest() { settings::release(); }
  ~SettingsTest() override { settings::release(); }

  LogCapture log{logger::verbosityWarnings};
};

TEST_F(SettingsTest, EveryKeyWritesItsOwnFieldAndNoOther) {
  ASSERT_EQ(std::size(kRows), 66u);
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    settings record(0, nullptr);
    std::vector<std::string> expected = defaults();
    ASSERT_EQ(snapshot(record), expected);
    EXPECT_TRUE(record.parseParam(kRows[i].parameter));
    expected[i] = kRows[i].after;
    if (std::string_view(kRows[i].parameter).starts_with("v4l2Loopback"))
      expected[std::size(kRows)] = std::string(1, '1');
    EXPECT_EQ(snapshot(record), expected) << kRows[i].parameter;
  }
  EXPECT_TRUE(log.lines().empty());
}

/// "| `KEY=N` | DEFAULT |" for each row of the page.
std::set<std::string> describedSettings() {
  std::ifstream page(OMBRIX_SOURCE_DIR "/docs/settings.md");
  std::set<std::string> rows;
  for (std::string line; std::getline(page, line);) {
    if (line.rfind("| `", 0) != 0) continue;
    const std::size_t end = line.find('|', line.find('|', 1) + 1);
    line = line.substr(3, end - 4);
    const std::size_t value = line.find('='), quote = line.find('`');
    if (value < quote) line.erase(value, quote - value);
    EXPECT_TRUE(rows.insert(line).second) << line << " has two rows";
  }
  return rows;
}

TEST_F(SettingsTest, ThePageDescribesEveryKeyWithItsDefault) {
  std::set<std::string> expected;
  for (const Row& row : kRows) {
    const std::string parameter = row.parameter;
    const bool word = parameter.find('=') == std::string::npos;
    const std::string before = row.before;
    expected.insert(parameter.substr(0, parameter.find('=')) + "` | " +
                    (word             ? "off"
                     : before.empty() ? "empty"
                                      : before));
  }
  EXPECT_EQ(describedSettings(), expected);
}

TEST_F(SettingsTest, RejectsEverythingElseSilently) {
  settings record(0, nullptr);
  for (const char* parameter :
       {"", "=", "deviceIndex", "deviceIndex=", "deviceIndexX=3", " deviceIndex=3", "verbose=1", "verbose ",
        "Verbose", "verbos", "font", "font=", "v4l2Loopback=", "spareText=x", "colorPresetMode", "consoleLog",
        "enableColorPresetMode", "FFCValidation=1"})
    EXPECT_FALSE(record.parseParam(parameter)) << parameter;
  EXPECT_EQ(snapshot(record), defaults());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SettingsTest, UnreadableNumbersWarnAndKeepTheOldValue) {
  settings record(0, nullptr);
  EXPECT_FALSE(record.parseParam("deviceIndex=abc"));
  EXPECT_FALSE(record.parseParam("sensorSerial=-"));
  EXPECT_FALSE(record.parseParam("xShadowOffset=wide"));
  EXPECT_EQ(log.lines(), (std::vector<std::string>{" ● can't convert attribute deviceIndex to integer",
                                                   " ● can't convert attribute sensorSerial to integer",
                                                   " ● can't convert attribute xShadowOffset to float"}));
  EXPECT_EQ(snapshot(record), defaults());
}

TEST_F(SettingsTest, IntegersKeepTheLow32BitsOfWhatStandsFirst) {
  settings record(0, nullptr);
  EXPECT_TRUE(record.parseParam("sensorSerial=-1"));
  EXPECT_EQ(record.sensorSerial, 4294967295);
  EXPECT_TRUE(record.parseParam("bitRate= 4294967297 kbit"));
  EXPECT_EQ(record.bitRate, 1);
}

TEST_F(SettingsTest, TheSingletonLivesFromCreateToRelease) {
  EXPECT_EQ(settings::inst(), nullptr);
  EXPECT_EQ(log.lines(), std::vector<std::string>{" ● settings::inst() used before initialization"});
  EXPECT_EQ(snapshot(settings::current()), defaults());

  settings::create(0, nullptr);
  settings* const record = settings::inst();
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(&settings::current(), record);
  for (const Row& row : kRows) EXPECT_TRUE(record->parseParam(row.parameter));
  const auto counts = [record] {
    return std::array<std::uint32_t, 5>{record->cookedSnapshotCount, record->colorSnapshotCount,
                                        record->cookedTiffSnapshotCount, record->thermalTiffSnapshotCount,
                                        record->tiffFrameDumpCount};
  };
  EXPECT_EQ(counts(), (std::array<std::uint32_t, 5>{1, 1, 1, 1, 1}));
  record->spareText.set("spare");
  log.clear();
  settings::create(0, nullptr);
  EXPECT_EQ(log.lines(), std::vector<std::string>{" ● settings are already initialized"});
  EXPECT_EQ(settings::inst()->bitRate, 512);

  settings::release();
  settings::release();
  EXPECT_EQ(settings::inst(), nullptr);
  EXPECT_EQ(snapshot(settings::current()), defaults());
  EXPECT_EQ(record->bitRate, 512);  // a reader may still hold it
  settings::create(0, nullptr);
  EXPECT_EQ(settings::inst(), record);  // cycles need no more memory
  EXPECT_EQ(snapshot(*record), defaults());
  EXPECT_EQ(counts(), (std::array<std::uint32_t, 5>{}));
}

TEST_F(SettingsTest, DebugLinesNameTheRecord) {
  const LogCapture debugLog;
  settings::create(0, nullptr);
  settings::inst()->parseParam("nothing");
  settings::release();
  settings::current();
  std::vector<std::string> lines = debugLog.lines();
  constexpr std::size_t kStampLength = 20;  // with the blank behind it
  for (std::string& line : lines) line.erase(0, kStampLength);
  EXPECT_EQ(lines, (std::vector<std::string>{"<settings::create> ", "<settings::settings> settings",
                                             "<settings::parseParam> settings", "<settings::release> "}));
}

TEST_F(SettingsTest, ReadersSurviveEveryCreateAndRelease) {
  settings::create(0, nullptr);
  std::atomic<bool> stop{false};
  std::thread reader([&stop] {
    while (!stop) {
      const settings& record = settings::current();
      const std::string font = record.font.get();
      EXPECT_TRUE(font == "Calibri_24_AA" || font == "Sans_8") << font;
      const std::int32_t bitRate = record.bitRate;
      EXPECT_TRUE(bitRate == 1024 || bitRate == 512) << bitRate;
    }
  });
  for (int i = 0; i < 200; ++i) {
    settings::inst()->parseParam("font=Sans_8");
    settings::inst()->parseParam("bitRate=512");
    settings::release();
    settings::create(0, nullptr);
  }
  stop = true;
  reader.join();
}

}  // namespace
