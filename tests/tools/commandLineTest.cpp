#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "ombrix/version.h"
#include "platform/system.h"
#include "support/scratchFiles.h"
#include "tools/program.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

const std::vector<std::string> kBramble = {"--simulate", "bramble6"};

std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

std::vector<json> jsonLines(const std::string& text) {
  std::vector<json> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(json::parse(line));
  return lines;
}

/// A directory of the test's own.
class CommandLine : public testing::Test {
 protected:
  const ScratchFolder folder;
  const std::filesystem::path directory = folder.path("");
};

TEST_F(CommandLine, HelpAndVersionAreData) {
  const Outcome help = runOmbrix({"--help"});
  EXPECT_EQ(help.exitCode, 0);
  for (const char* word : {"list", "info", "stream", "--simulate", "--verbose", "--data", "Exit codes"}) {
    EXPECT_THAT(help.out, HasSubstr(word));
  }
  EXPECT_EQ(help.err, "");
  const Outcome version = runOmbrix({"--version"});
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_EQ(version.out, "ombrix " OMBRIX_VERSION "\n");
}

TEST_F(CommandLine, WrongArgumentsGiveOneLineAndExitCode) {
  struct Case {
    std::vector<std::string> arguments;
    int exitCode;
    const char* word;  // what the line must name
  };
  const std::string nowhere = (directory / "nowhere").string();
  const std::string file = (directory / "file").string();
  std::ofstream(file) << "no scenario\n";
  const std::vector<Case> cases = {
      {{}, 2, "subcommand"},
      {{"watch"}, 2, "watch (see ombrix --help)"},
      {{"stream", "--jsn"}, 2, "--jsn (see ombrix stream --help)"},
      {{"list", "--frobnicate"}, 2, "--frobnicate"},
      {{"list", "--verbose", "4"}, 2, "--verbose"},
      {{"list", "--data", nowhere}, 2, "--data"},
      {{"stream", "--count", "0"}, 2, "--count"},
      {{"stream", "--count", "99999999999999999999"}, 2, "--count"},
      {{"stream", "--camera", "-1"}, 2, "'-1' is no number of a camera"},
      {{"list", "--simulate", ""}, 2, "--simulate: it names nothing"},
      {{"stream", "--raw", "--colour"}, 2, "--raw"},
      {{"stream", "--preset", "1"}, 2, "--preset"},
      {{"stream", "--overlay", "size"}, 2, "--overlay"},
      {{"stream", "--colour", "--overlay", "size,moon"}, 2, "moon"},
      {{"stream", "--colour", "--json", "--overlay", "positions"}, 2, "positions"},
      {{"stream", "--simulate", "bramble6", "--colour", "--preset", "99"}, 2, "preset 99"},
      {{"info", "--dump"}, 2, "--dump"},
      {{"measure"}, 2, "--at"},
      {{"measure", "--at", "3;4"}, 2, "--at"},
      {{"measure", "--at", "3,4", "--emissivity", "nan"}, 2, "--emissivity"},
      {{"measure", "--at", "640,0", "--simulate", "bramble6"}, 2, "640 x 480"},
      {{"stream", "--bounds", "5"}, 2, "--bounds"},
      {{"stream", "--simulate", "bramble6", "--zoom", "nan"}, 2, "--zoom"},
      {{"calibrate", "--frames", "65536"}, 2, "--frames"},
      {{"evaluate", "--model", "teapot9"}, 2, "teapot9"},
      {{"snapshot"}, 2, "--out"},
      {{"snapshot", "--out", "a.png", "--kind", "warm"}, 2, "--kind"},
      {{"snapshot", "--simulate", "bramble6", "--out", "a.jpg"}, 2, "a.jpg"},
      {{"list", "--simulate", "teapot9"}, 2, "teapot9"},
      {{"list", "--simulate", file}, 2, "line 1"},
      {{"info", "--simulate", "bramble6", "--camera", "1"}, 1, "camera 1"},
      {{"stream", "--simulate", "bramble6", "--count", "1", "--out", file}, 1, "file; make it first"},
      {{"info", "--simulate", "marlow3;fault=unplug"}, 1, "no camera found: 'ombrix doctor'"},
  };
  for (const Case& test : cases) {
    const Outcome outcome = runOmbrix(test.arguments);
    SCOPED_TRACE(testing::PrintToString(test.arguments));
    EXPECT_EQ(outcome.exitCode, test.exitCode);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr(test.word));
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  }
}

TEST_F(CommandLine, ListKeepsStandardOutputForData) {
  // The general options may stand on either side of the subcommand; the loudest log must not reach the data.
  const Outcome outcome =
      runOmbrix({"--verbose", "3", "list", "--simulate", "bramble6,marlow3,hollis12", "--json"});
  ASSERT_EQ(outcome.exitCode, 0);
  const json cameras = json::parse(outcome.out);
  ASSERT_EQ(cameras.size(), 3u);
  const char* const models[] = {"Bramble 6", "Marlow 3", "Hollis 12"};
  const int widths[] = {640, 320, 1280};
  const int products[] = {0x96eb, 0x96ea, 0x96ec};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(cameras[i]["index"], i);
    EXPECT_EQ(cameras[i]["model"], models[i]);
    EXPECT_EQ(cameras[i]["width"], widths[i]);
    EXPECT_EQ(cameras[i]["productId"], products[i]);
  }
  EXPECT_THAT(outcome.err, HasSubstr("Video devices detected:"));
  EXPECT_EQ(outcome.err.find('\033'), std::string::npos);  // no colours but on a terminal
}

TEST_F(CommandLine, ListWithoutCamerasIsNoFailure) {
  const Outcome outcome = runOmbrix({"list", "--json", "--simulate", "marlow3;fault=unplug"});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.out, "[]\n");
  EXPECT_THAT(outcome.err, testing::StartsWith("ombrix: no camera found: "));
}

TEST_F(CommandLine, DoctorTellsWhetherAPictureCanBeTaken) {
  const struct {
    const char* scenario;
    int exitCode;
    const char* code;
  } cases[] = {
      {"bramble6", 0, ""},
      {"marlow3,bramble6;marlow3.fault=refuse-start:9", 0, "failed"},
      {"hollis12;fault=refuse-start:9", 1, "failed"},
  };
  for (const auto& test : cases) {
    const Outcome outcome = runOmbrix({"doctor", "--json", "--simulate", test.scenario});
    EXPECT_EQ(outcome.exitCode, test.exitCode) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    const json result = json::parse(outcome.out);
    EXPECT_EQ(result["usable"], test.exitCode == 0);
    const json& first = result["cameras"][0];
    EXPECT_EQ(first["picture"], *test.code == 0);
    EXPECT_EQ(first["obstacles"].size(), *test.code ? 1u : 0u);
    for (const json& obstacle : first["obstacles"]) EXPECT_EQ(obstacle["code"], test.code);
  }
}

TEST_F(CommandLine, InfoTellsIdentityAndFlash) {
  const Outcome outcome = runOmbrix(with({"info", "--json", "--parameters"}, kBramble));
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  const json info = json::parse(outcome.out);
  EXPECT_EQ(info["model"], "Bramble 6");
  EXPECT_EQ(info["width"], 640);
  EXPECT_EQ(info["height"], 480);
  EXPECT_EQ(info["frameRate"], 60.0);
  EXPECT_NEAR(info["sensorTemperatureC"].get<double>(), 25.0, 0.5);  // just switched on
  EXPECT_EQ(info["parameters"]["Serial number"], info["serialNumber"]);
  EXPECT_EQ(info["parameters"]["Gain coefficients"], "<array>");
}

TEST_F(CommandLine, RawFramesLandInFilesAsTheLinesSay) {
  const Outcome outcome = runOmbrix(
      with({"stream", "--raw", "--count", "5", "--json", "--out", directory.generic_string()}, kBramble));
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  const std::vector<json> lines = jsonLines(outcome.out);
  ASSERT_EQ(lines.size(), 5u);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const json& line = lines[i];
    if (i > 0) {
      const auto step = line["frameNumber"].get<int>() - lines[i - 1]["frameNumber"].get<int>();
      EXPECT_GE(step, 1);
      EXPECT_EQ(line["framesSinceLastCall"], step);
    }
    const std::string bytes = fileContents(line["file"]);
    const std::string header = "P5\n640 480\n65535\n";
    ASSERT_EQ(bytes.size(), header.size() + 640 * 480 * 2);
    EXPECT_EQ(bytes.substr(0, header.size()), header);
    unsigned low = 65535, high = 0;
    for (std::size_t at = header.size(); at < bytes.size(); at += 2) {
      const unsigned level =
          static_cast<unsigned char>(bytes[at]) * 256u + static_cast<unsigned char>(bytes[at + 1]);
      low = std::min(low, level);
      high = std::max(high, level);
    }
    EXPECT_EQ(line["min"], low);
    EXPECT_EQ(line["max"], high);
  }
  EXPECT_GT(lines.back()["max"], lines.back()["min"]);
}

TEST_F(CommandLine, ColourFramesLandInPngFiles) {
  const Outcome outcome = runOmbrix({"stream", "--colour", "--preset", "2", "--count", "3", "--json", "--out",
                                     directory.generic_string(), "--simulate", "marlow3"});
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  const std::vector<json> lines = jsonLines(outcome.out);
  ASSERT_EQ(lines.size(), 3u);
  for (const json& line : lines) {
    png_image picture{};
    picture.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&picture, line["file"].get<std::string>().c_str()), 0);
    EXPECT_EQ(picture.width, 320u);
    EXPECT_EQ(picture.height, 240u);
    picture.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(picture));
    ASSERT_NE(png_image_finish_read(&picture, nullptr, pixels.data(), 0, nullptr), 0);
    EXPECT_EQ(line["min"], *std::min_element(pixels.begin(), pixels.end()));
    EXPECT_EQ(line["max"], *std::max_element(pixels.begin(), pixels.end()));
  }
}

TEST_F(CommandLine, OverlaysAreDrawnAndKeepOutOfJson) {
  const auto streamWith = [&](const std::string& words, const std::vector<std::string>& more) {
    return runOmbrix(with({"stream", "--simulate", "marlow3;scene=uniform", "--colour", "--data",
                           directory.generic_string(), "--count", "4", "--overlay", words},
                          more));
  };
  const Outcome all = streamWith("all", {"--json"});
  ASSERT_EQ(all.exitCode, 0) << all.err;
  EXPECT_EQ(jsonLines(all.out).size(), 4u);
  EXPECT_EQ(jsonLines(all.out).front()["max"], 255);  // white text on the black first frame
  const Outcome printed = streamWith("positions", {});
  EXPECT_TRUE(std::regex_search(printed.out, std::regex("min [0-9]+ [0-9]+\nmax [0-9]+ [0-9]+\n")))
      << printed.out;
}

TEST_F(CommandLine, SnapshotsCanBeReadByOthers) {
  const struct {
    const char *kind, *ending;
    unsigned format, bytesPerPixel;
  } cases[] = {{"raw", "png", PNG_FORMAT_LINEAR_Y, 2},
               {"cooked", "png", PNG_FORMAT_LINEAR_Y, 2},
               {"colour", "png", PNG_FORMAT_RGB, 3}};
  for (const auto& test : cases) {
    const std::string path = (directory / (std::string(test.kind) + "." + test.ending)).string();
    const Outcome outcome =
        runOmbrix({"snapshot", "--kind", test.kind, "--out", path, "--simulate", "marlow3;scene=room"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    png_image picture{};
    picture.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&picture, path.c_str()), 0) << picture.message;
    EXPECT_EQ(picture.width, 320u);
    EXPECT_EQ(picture.height, 240u);
    EXPECT_EQ(picture.format & PNG_FORMAT_FLAG_COLOR, test.format & PNG_FORMAT_FLAG_COLOR);
    EXPECT_EQ(picture.format & PNG_FORMAT_FLAG_LINEAR, test.format & PNG_FORMAT_FLAG_LINEAR);
    picture.format = test.format;
    std::vector<unsigned char> pixels(std::size_t{320} * 240 * test.bytesPerPixel);
    ASSERT_NE(png_image_finish_read(&picture, nullptr, pixels.data(), 0, nullptr), 0) << picture.message;
    EXPECT_LT(*std::min_element(pixels.begin(), pixels.end()),
              *std::max_element(pixels.begin(), pixels.end()));
  }
  const std::string missing = (directory / "nowhere" / "a.png").string();
  EXPECT_EQ(runOmbrix({"snapshot", "--out", missing, "--simulate", "marlow3"}).exitCode, 1);
}

TEST_F(CommandLine, TemperaturesAreRightOutOfTheBox) {
  platform::setEnvironmentVariable("XDG_CACHE_HOME", directory.generic_string());
  const Outcome outcome = runOmbrix({"measure", "--simulate", "bramble6;scene=uniform;temperature=50;fpa=38",
                                     "--at", "320,240", "--count", "20", "--json"});
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  const std::vector<json> lines = jsonLines(outcome.out);
  ASSERT_EQ(lines.size(), 20u);
  for (const json& line : lines) EXPECT_NEAR(line["celsius"].get<double>(), 50.0, 0.3) << line["frame"];
}

TEST_F(CommandLine, CalibratingLeavesNothingInTheMadeUpSet) {
  platform::setEnvironmentVariable("XDG_CACHE_HOME", directory.generic_string());
  const Outcome outcome = runOmbrix(
      {"calibrate", "--frames", "8", "--json", "--simulate", "bramble6;scene=room;fpa=31;housing=4"});
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  const json result = json::parse(outcome.out);
  EXPECT_TRUE(result["directory"].is_null());
  EXPECT_LT(result["after"]["spatialMk"], 0.4 * result["before"]["spatialMk"].get<double>());
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    EXPECT_NE(entry.path().filename(), "ffc");
  }
}

TEST_F(CommandLine, EvaluationShowsWhatStagesWinAndMiss) {
  platform::setEnvironmentVariable("XDG_CACHE_HOME", directory.generic_string());
  const Outcome outcome = runOmbrix({"evaluate", "--quick", "--json", "--model", "marlow3"});
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  const json results = json::parse(outcome.out)["results"];
  ASSERT_EQ(results.size(), 3u);
  const json& stages = results[1]["stages"];  // 30 degC
  ASSERT_EQ(stages.size(), 9u);
  EXPECT_TRUE(stages[0]["meanErrorC"].is_null());
  EXPECT_NEAR(stages[2]["spatialMk"], 129.0, 15.0);  // what the housing adds to ideal tables
  EXPECT_LT(stages[5]["spatialMk"], 20.0);
  EXPECT_NEAR(stages[6]["temporalMk"], results[1]["expectedTemporalMk"].get<double>(), 6.0);

  // Levels that are linear in radiance are no temperatures.
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (entry.path().extension() != ".tco") continue;
    std::ofstream identity(entry.path());
    for (int level = 0; level < 65536; ++level) identity << level << '\n';
  }
  const Outcome missed = runOmbrix({"evaluate", "--quick", "--json", "--model", "marlow3"});
  EXPECT_EQ(missed.exitCode, 1);
  EXPECT_EQ(json::parse(missed.out)["missed"], 3);
  EXPECT_EQ(
      missed.err.rfind("ombrix: 3 of 3 cases miss criteria: Marlow 3 at -10 C (detector 31 C, housing +4 K, "
                       "tables); Marlow 3 at 30 C",
                       0),
      0u)
      << missed.err;
}

TEST_F(CommandLine, CalibratingWithoutAShutterWarns) {
  platform::setEnvironmentVariable("XDG_CACHE_HOME", directory.generic_string());
  const Outcome outcome = runOmbrix({"calibrate", "--frames", "4", "--simulate", "marlow3;scene=uniform"});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_THAT(outcome.err, testing::StartsWith("ombrix: warning: the Marlow 3 has no shutter: "));
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
}

TEST_F(CommandLine, ATableThatCannotBeWrittenIsAFailure) {
  std::filesystem::create_directories(directory / "ffc" / "Marlow 3_466001359.ffc");  // in the table's way
  const Outcome lost = runOmbrix({"calibrate", "--frames", "2", "--json", "--simulate", "marlow3;rate=200",
                                  "--data", directory.generic_string()});
  EXPECT_EQ(lost.exitCode, 1);
  EXPECT_EQ(lost.out, "");
  EXPECT_THAT(lost.err, HasSubstr("the table could not be written to"));
}

TEST_F(CommandLine, AWrongScenarioOfTheEnvironmentIsNamed) {
  platform::setEnvironmentVariable("OMBRIX_BACKEND", "simulated");
  platform::setEnvironmentVariable("OMBRIX_SIMULATION", "teapot9");
  const Outcome outcome = runOmbrix({"doctor"});
  platform::setEnvironmentVariable("OMBRIX_SIMULATION", "");
  EXPECT_EQ(outcome.exitCode, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, testing::StartsWith("ombrix: OMBRIX_SIMULATION: teapot9: "));
}

}  // namespace
