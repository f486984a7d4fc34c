#include <gtest/gtest.h>
#if defined(__linux__)
#include <sys/stat.h>
#endif

#include <cerrno>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "support/LogCapture.h"
#include "support/scratchFiles.h"
#include "support/simulatedFrames.h"

using namespace simulation;

namespace {

const std::string kPgm = std::string("P5\n# two by one\n2 1\n65535\n") + "\x12\x34\xFF" + "\xFE";

}  // namespace

TEST(SimulatedScenario, ShortText) {
  Scenario scenario;
  ScenarioError error;
  ASSERT_TRUE(readScenario(
      "bramble6,marlow3,bramble6;seed=7;scene=ramp;marlow3.scene=uniform; 2.fault = short:3@120 ;"
      "2.fault=unplug@2.5s;0.rate=30",
      scenario, error));
  ASSERT_EQ(scenario.cameras.size(), 3u);
  EXPECT_EQ(scenario.cameras[0].model->name, "Bramble 6");
  EXPECT_EQ(scenario.cameras[1].model->name, "Marlow 3");
  EXPECT_EQ(scenario.cameras[0].scene.kind, SceneKind::Ramp);
  EXPECT_EQ(scenario.cameras[1].scene.kind, SceneKind::Uniform);
  EXPECT_EQ(scenario.cameras[1].seed, 7u);
  EXPECT_EQ(scenario.cameras[0].rateHz, 30.0);
  EXPECT_EQ(scenario.cameras[2].rateHz, 0.0);
  EXPECT_TRUE(scenario.cameras[0].faults.empty());
  ASSERT_EQ(scenario.cameras[2].faults.size(), 2u);
  EXPECT_EQ(scenario.cameras[2].faults[0].kind, FaultKind::ShortSamples);
  EXPECT_EQ(scenario.cameras[2].faults[0].count, 3);
  EXPECT_EQ(scenario.cameras[2].faults[0].atFrame, 120u);
  EXPECT_EQ(scenario.cameras[2].faults[1].atSeconds, 2.5);
  // Cameras of one model are told apart by their numbers.
  EXPECT_EQ(scenario.cameras[0].serialNumber, 466001359u);
  EXPECT_EQ(scenario.cameras[2].serialNumber, 466001361u);
}

TEST(SimulatedScenario, NothingSaidIsABrambleInARoom) {
  Scenario scenario;
  ScenarioError error;
  ASSERT_TRUE(readScenario("", scenario, error));
  ASSERT_EQ(scenario.cameras.size(), 1u);
  EXPECT_EQ(scenario.cameras[0].model->id, "bramble6");
  EXPECT_EQ(scenario.cameras[0].scene.kind, SceneKind::Room);
}

TEST(SimulatedScenario, ErrorsNameLineAndReason) {
  struct Case {
    const char* text;
    std::size_t line;
    const char* reason;
  };
  const Case cases[] = {
      {"bramble7", 0, "neither a readable scenario file nor a list of camera models"},
      {"bramble6,marlow4", 1, "unknown camera model 'marlow4'"},
      {"bramble6;colour=red", 2, "unknown key 'colour'"},
      {"bramble6;rate", 2, "'rate' is not of the form key=value"},
      {"bramble6;seed=1;rate=501", 3, "'501' is no number within 1..500"},
      {"bramble6;rate=nan", 2, "'nan' is no number within 1..500"},
      {"bramble6;seed=-1", 2, "'-1' is no whole number within 0..18446744073709551615"},
      {"bramble6;scene=garden", 2, "'garden' is none of uniform, room, ramp, coded, file:PATH"},
      {"bramble6;scene=file:/none.pgm", 2, "scene file '/none.pgm': cannot be opened"},
      {"bramble6;fit=35", 2, "'35' is not of the form LOW..HIGH within -100..1000"},
      {"bramble6;serial=466099359", 2, "the serial number '466099359' cannot be stored"},
      {"bramble6;hollis12.rate=3", 2, "no camera 'hollis12' in this scenario"},
      {"bramble6;fault=melt", 2, "unknown fault 'melt'"},
      {"bramble6;fault=unplug@soon", 2, "'soon' is neither a frame number nor a time like 2.5s"},
      {"bramble6;fault=unplug:3", 2, "fault 'unplug' takes fewer arguments"},
      {"bramble6;fault=short:0", 2, "'0' is no count of at least 1"},
      {"bramble6;fault=register:1:EFUN", 2, "'EFUN' is none of EPIPE, EIO, ETIMEDOUT"},
      {"bramble6;fault=rate", 2, "fault 'rate' needs a number within 1..500"},
  };
  for (const auto& [text, line, reason] : cases) {
    Scenario scenario;
    ScenarioError error;
    EXPECT_FALSE(readScenario(text, scenario, error)) << text;
    EXPECT_EQ(error.line, line) << text;
    EXPECT_EQ(error.reason, reason) << text;
    EXPECT_TRUE(scenario.cameras.empty()) << text;
  }
#if defined(__linux__)
  // A pipe is no file: opening it would wait for a writer.
  const ScratchFolder folder;
  const std::string pipe = folder.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  Scenario scenario;
  ScenarioError error;
  EXPECT_FALSE(readScenario(pipe, scenario, error));
  EXPECT_EQ(error.reason, "neither a readable scenario file nor a list of camera models");
#endif
}

TEST(SimulatedScenario, FileWithCommentsAndAPictureBesideIt) {
  const ScratchFolder folder;
  folder.file("two.pgm", kPgm);
  const auto path =
      folder.file("demo.txt", "# demo\n\ncameras = hollis12  # one\nscene=file:two.pgm\r\nfit=10..35\n");
  Scenario scenario;
  ScenarioError error;
  ASSERT_TRUE(readScenario(path, scenario, error)) << error.reason;
  ASSERT_EQ(scenario.cameras.size(), 1u);
  const auto& scene = scenario.cameras[0].scene;
  EXPECT_EQ(scenario.cameras[0].model->id, "hollis12");
  ASSERT_EQ(scene.kind, SceneKind::File);
  EXPECT_EQ(scene.values, FileValues::Fit);
  EXPECT_EQ(scene.pictures->at(0).values, (std::vector<std::uint16_t>{0x1234, 0xFFFE}));
}

TEST(SimulatedScenario, AFaultyOneIsLoggedOnceAndGivesNoCameras) {
  const ScratchFolder folder;
  folder.file("cut.pgm", kPgm.substr(0, kPgm.size() - 1));
  const auto path = folder.file("demo.txt", "cameras=bramble6\n\nscene=file:cut.pgm\n");
  LogCapture log;
  const auto platform = makeSimulatedPlatform(path);
  EXPECT_EQ(log.lines().size(), 1u) << log.text();
  EXPECT_TRUE(log.contains("Simulation scenario '" + path + "' line 3: scene file '")) << log.text();
  EXPECT_TRUE(log.contains("cut.pgm': PGM has 3 bytes of pixels instead of 4")) << log.text();
  std::vector<transport::DeviceRecord> devices(1);
  EXPECT_FALSE(platform->start().failed());
  EXPECT_FALSE(platform->enumerate(devices).failed());
  EXPECT_TRUE(devices.empty());
}

TEST(SimulatedScenario, PicturesAreUntrusted) {
  struct Case {
    std::string bytes, reason;
  };
  const std::string two(2, 'x');
  const Case cases[] = {{"", "not a binary PGM"},
                        {"P2\n1 1\n65535\n1", "not a binary PGM"},
                        {"P5\n1", "malformed PGM header"},
                        {"P5\n1 1\n65535", "malformed PGM header"},
                        {"P5\n1 -1\n65535\n" + two, "malformed PGM header"},
                        {"P5\n1 99999999999\n65535\n" + two, "malformed PGM header"},
                        {"P5\n0 1\n65535\n", "PGM size 0x1 is not within 1..8192"},
                        {"P5\n1 8193\n65535\n" + two, "PGM size 1x8193 is not within 1..8192"},
                        {"P5\n1 1\n255\nx", "PGM maximum 255 is not within 256..65535"},
                        {"P5\n1 1\n65536\n" + two, "PGM maximum 65536 is not within 256..65535"},
                        {"P5\n1 1\n65535\nx", "PGM has 1 bytes of pixels instead of 2"},
                        {"P5\n1 1\n65535\n" + two + "x", "PGM has 3 bytes of pixels instead of 2"},
                        {"P5\n1 1\n300\n\x02" + two.substr(1), "PGM value 632 is above the maximum 300"}};
  for (const auto& [bytes, reason] : cases) {
    GreyPicture picture;
    EXPECT_EQ(parsePgm(bytes, picture), reason) << bytes;
    EXPECT_TRUE(picture.values.empty()) << bytes;
  }
}

TEST(SimulatedScenario, PictureCountsReachTheDetector) {
  // A 4 x 1 picture fills the sensor by its height: what is left of the middle and what is right of it.
  const auto spec = [](const std::string& options) {
    auto result = specOf("marlow3;fpa=25;housing=0;pattern=0;defects=off;hold=2" + options);
    auto pictures = std::make_shared<std::vector<GreyPicture>>();
    pictures->push_back({4, 3, {100, 200, 300, 400, 100, 200, 300, 400, 100, 200, 300, 400}});
    pictures->push_back({4, 3, std::vector<std::uint16_t>(12, 250)});
    result.scene.kind = SceneKind::File;
    result.scene.pictures = std::move(pictures);
    return result;
  };
  SimulatedCamera camera(spec(";scale=10;offset=3000"));
  const auto first = nextBytes(camera);
  EXPECT_NEAR(countAt(first, 120 * 320 + 2), 4000, 25);
  EXPECT_NEAR(countAt(first, 120 * 320 + 120), 5000, 25);  // the centre of the second of four
  EXPECT_NEAR(countAt(first, 120 * 320 + 317), 7000, 25);
  EXPECT_NEAR(countAt(nextBytes(camera), 120 * 320 + 2), 4000, 25);
  EXPECT_NEAR(countAt(nextBytes(camera), 120 * 320 + 2), 5500, 25);  // the next picture after two frames
  SimulatedCamera fitted(spec(";fit=25..50"));                       // 50 degrees: 28.0253 * 40 counts above
  const auto frame = nextBytes(fitted);
  EXPECT_NEAR(countAt(frame, 120 * 320 + 2), 4800, 25);
  EXPECT_NEAR(countAt(frame, 120 * 320 + 317), 4800 + 1121, 25);
}

// 3 x 2 pixels in the middle of a Marlow 3, mirrored around; one count is dead, one at full scale.
TEST(SimulatedScenario, RawScenesAreReadOutAsTheyAre) {
  const ScratchFolder folder;
  const auto pgm = [&](const std::string& name, const std::string& bytes) {
    return folder.file(name, "P5\n3 2\n65535\n" + bytes);
  };
  const auto scene = pgm("scene.pgm", std::string("\0\1\1\0\0\3\4\0\5\0\6\0", 12));
  const auto shutter = pgm("shutter.pgm", std::string("\0\0\7\0\xFF\xFF\0\7\0\x8\0\x9", 12));
  SimulatedCamera camera(
      specOf("marlow3;scene=file:" + scene + ";values=raw;scale=2;offset=1;shutter=" + shutter));
  const auto rowOf = [&](std::size_t y, std::size_t first) {
    const auto bytes = nextBytes(camera);
    std::vector<int> counts;
    for (std::size_t x = first; x < first + 8; ++x) counts.push_back(countAt(bytes, y * 320 + x));
    return counts;
  };
  // The picture begins in column 158 and row 119.
  EXPECT_EQ(rowOf(119, 156), (std::vector<int>{513, 3, 3, 513, 7, 7, 513, 3}));
  EXPECT_EQ(rowOf(118, 156), rowOf(119, 156));
  EXPECT_EQ(rowOf(120, 158), (std::vector<int>{2049, 2561, 3073, 3073, 2561, 2049, 2049, 2561}));
  EXPECT_EQ(rowOf(121, 158), rowOf(120, 158));
  EXPECT_EQ(rowOf(122, 158), rowOf(119, 158));
  camera.moveShutter(true);
  EXPECT_EQ(rowOf(119, 158), (std::vector<int>{1, 3585, 16383, 16383, 3585, 1, 1, 3585}));
  EXPECT_EQ(camera.defects().size(), 2u * 53 * 120);  // at full scale, in pairs, on every other pair of rows
}
