#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

#include "common/format.h"
#include "common/sanitized.h"
#include "platform/system.h"
#include "support/scratchFiles.h"
#include "tools/common/selftestChecks.h"
#include "tools/program.h"

using namespace tools::selftest;
using nlohmann::json;
using State = tools::FileFinding::State;

namespace {

/// Four seconds of a Bramble 6 that has nothing wrong with it.
Evidence goodCamera() {
  Evidence e;
  e.name = "Bramble 6";
  e.width = 640;
  e.height = 480;
  e.nominalHz = 60.0;
  e.serialNumber = 466001359;
  for (std::uint64_t n = 10; n < 250; ++n) {
    e.frames.push_back({n, 1, static_cast<double>(n) / 60.0, 298.15f, 466001359, 100, 9000,
                        static_cast<std::uint32_t>(n), true, n % 100 == 0 ? 9.0 : 1.5});
  }
  e.framesComplete = true;
  e.colourFrames = e.colourFramesAsked = 5;
  e.waits = {{false, 0, 0.1, false}, {true, 30, 30.4, false}, {false, 100, 12.0, true}};
  e.registers = RegisterRecord{9, 9, 0, 0.4, 3.0};
  e.shutter = ShutterRecord{"mK", 900.0, 12.0, 12.0, 800.0, 10.0, 130.0, 20.0, true};
  e.calibration.emplace();
  for (auto* file : {&e.calibration->defects, &e.calibration->tables, &e.calibration->thermographic})
    *file = {State::Good, "path", "text"};
  return e;
}

/// The checks that are neither ok nor skipped, with their result: "FAIL rate, warn samples".
std::string objections(const Evidence& evidence) {
  std::string found;
  for (const Check& check : judge(evidence)) {
    if (check.result != Result::Warn && check.result != Result::Fail) continue;
    EXPECT_NE(check.remedy, "") << check.name << " says nothing of what to do";
    if (!found.empty()) found += ", ";
    found.append(word(check.result)).append(" ").append(check.name);
  }
  return found;
}

struct Case {
  const char* what;
  void (*change)(Evidence&);
  const char* objections;
};

// Limits are tried on either side.
const Case kCases[] = {
    {"nothing", [](Evidence&) {}, ""},
    {"not opened", [](Evidence& e) { e = {}, e.openError = "Unable to connect"; }, "FAIL open"},
    {"interrupted at opening", [](Evidence& e) { e = {}, e.openError = e.ended = "interrupted"; }, ""},
    {"never opened", [](Evidence& e) { e = {}, e.openError = e.ended = "not done", e.timeUp = true; },
     "FAIL open"},
    {"unplugged", [](Evidence& e) { e.lost = true, e.ended = "lost", e.shutter.reset(); }, "FAIL connection"},
    {"slow", [](Evidence& e) { e.timeUp = true, e.ended = "not done"; }, "FAIL connection"},
    {"silent",
     [](Evidence& e) { e.silent = true, e.framesComplete = false, e.ended = "no frame", e.shutter.reset(); },
     "FAIL frames"},
    {"silent later", [](Evidence& e) { e.silent = true, e.shutter.reset(); }, "FAIL frames"},
    {"interrupted", [](Evidence& e) { e.ended = "interrupted", e.framesComplete = false, e.shutter.reset(); },
     ""},
    {"backwards", [](Evidence& e) { e.frames[9].number = e.frames[7].number; }, "FAIL frames"},
    {"wrong distance", [](Evidence& e) { e.frames[9].sinceLast = 2; }, "FAIL frames"},
    {"two of 240 missed",
     [](Evidence& e) {
       e.frames.erase(e.frames.begin() + 5, e.frames.begin() + 7), e.frames[5].sinceLast = 3;
     },
     ""},
    {"three of 240 missed",
     [](Evidence& e) {
       e.frames.erase(e.frames.begin() + 5, e.frames.begin() + 8), e.frames[5].sinceLast = 4;
     },
     "warn frames"},
    {"two damaged", [](Evidence& e) { e.damagedSamples = 2; }, "warn samples"},
    {"three damaged", [](Evidence& e) { e.damagedSamples = 3; }, "FAIL samples"},
    {"59 Hz",
     [](Evidence& e) {
       for (auto& f : e.frames) f.seconds *= 60.0 / 59.0;
     },
     ""},
    {"58 Hz",
     [](Evidence& e) {
       for (auto& f : e.frames) f.seconds *= 60.0 / 58.0;
     },
     "warn rate"},
    {"70 Hz",
     [](Evidence& e) {
       for (auto& f : e.frames) f.seconds *= 60.0 / 70.0;
     },
     "FAIL rate"},
    {"50 Hz",
     [](Evidence& e) {
       for (auto& f : e.frames) f.seconds *= 60.0 / 50.0;
     },
     "FAIL rate"},
    {"one level",
     [](Evidence& e) {
       for (auto& f : e.frames) f.min = f.max = 7;
     },
     "FAIL picture"},
    {"a still",
     [](Evidence& e) {
       for (auto& f : e.frames) f.digest = 1;
     },
     "warn picture"},
    {"every fourth repeated",
     [](Evidence& e) {
       for (auto& f : e.frames) f.digest -= f.number % 4 == 0;
     },
     ""},
    {"ended at colour", [](Evidence& e) { e.colourFrames = 0, e.ended = "interrupted"; }, ""},
    {"no colour", [](Evidence& e) { e.colourFrames = 0; }, "FAIL colour"},
    {"another serial", [](Evidence& e) { e.frames[3].serialNumber = 1; }, "FAIL metadata"},
    {"another histogram", [](Evidence& e) { e.frames[3].histogramMatches = false; }, "FAIL metadata"},
    {"too cold",
     [](Evidence& e) {
       for (auto& f : e.frames) f.sensorK = 228.0f;
     },
     "FAIL temperature"},
    {"not yet read",
     [](Evidence& e) {
       for (auto& f : e.frames) f.sensorK = 0.0f;
     },
     "FAIL temperature"},
    {"hot",
     [](Evidence& e) {
       for (auto& f : e.frames) f.sensorK = 363.1f;
     },
     ""},
    {"too hot",
     [](Evidence& e) {
       for (auto& f : e.frames) f.sensorK = 363.2f;
     },
     "FAIL temperature"},
    {"no number", [](Evidence& e) { e.frames[2].sensorK = std::nanf(""); }, "FAIL temperature"},
    {"3 K in 4 s", [](Evidence& e) { e.frames[100].sensorK += 3.0f; }, "warn temperature"},
    {"slow hand-over",
     [](Evidence& e) {
       for (auto& f : e.frames) f.handOverMs = 17.0;
     },
     "warn latency"},
    {"three of 240 late",
     [](Evidence& e) {
       for (std::size_t i : {1u, 2u, 3u}) e.frames[i].handOverMs = 60.0;
     },
     "warn latency"},
    {"two of 240 late",
     [](Evidence& e) {
       for (std::size_t i : {1u, 2u}) e.frames[i].handOverMs = 60.0;
     },
     ""},
    {"late call", [](Evidence& e) { e.waits[1].tookMs = 131.0; }, "warn time-outs"},
    {"very late call", [](Evidence& e) { e.waits[1].tookMs = 1031.0; }, "FAIL time-outs"},
    {"no serial",
     [](Evidence& e) {
       e.serialNumber = 0;
       for (auto& f : e.frames) f.serialNumber = 0;
     },
     "FAIL registers"},
    {"no answer", [](Evidence& e) { e.registers->silent = 1, e.registers->same = 8; }, "FAIL registers"},
    {"another answer", [](Evidence& e) { e.registers->same = 8; }, "FAIL registers"},
    {"slow answer", [](Evidence& e) { e.registers->longestMs = 101.0; }, "warn registers"},
    {"stuck shutter", [](Evidence& e) { e.shutter->change = 35.0, e.shutter->before = 900.0; },
     "FAIL shutter"},
    {"another picture", [](Evidence& e) { e.shutter->change = 37.0, e.shutter->before = 900.0; }, ""},
    {"motion is gone",
     [](Evidence& e) { e.shutter->drift = 300.0, e.shutter->openNoise = 21.0, e.shutter->before = 900.0; },
     ""},
    {"structure is gone", [](Evidence& e) { e.shutter->change = 35.0, e.shutter->before = 449.0; }, ""},
    {"nothing to see",
     [](Evidence& e) { e.shutter->change = 35.0, e.shutter->before = e.shutter->openSpread = 299.0; },
     "warn shutter"},
    {"no table", [](Evidence& e) { e.shutter->table = false; }, "FAIL shutter"},
    {"not flattened", [](Evidence& e) { e.shutter->after = 100.0; }, "FAIL shutter"},
    {"flat already", [](Evidence& e) { e.shutter->before = 18.0, e.shutter->after = 19.0; }, ""},
    {"no shutter", [](Evidence& e) { e.hasShutter = false, e.shutter.reset(); }, ""},
    {"no files", [](Evidence& e) { e.calibration.emplace(); }, "warn file-defects, warn file-tables"},
    {"polynomials only", [](Evidence& e) { std::swap(e.calibration->tables, e.calibration->polynomials); },
     ""},
    {"bad polynomials", [](Evidence& e) { e.calibration->polynomials.state = State::Bad; },
     "FAIL file-polynomials"},
};

}  // namespace

TEST(SelftestChecks, EachFaultIsFoundByItsCheckAlone) {
  for (const Case& test : kCases) {
    Evidence evidence = goodCamera();
    test.change(evidence);
    EXPECT_EQ(objections(evidence), test.objections) << test.what;
    EXPECT_EQ(judge(evidence).size(), 18u);
  }
  EXPECT_EQ(quantile({}, 0.5), 0.0);
  EXPECT_EQ(quantile({4, 1, 3, 2}, 0.5), 2.0);
  EXPECT_EQ(quantile({4, 1, 3, 2}, 0.99), 4.0);
}

/// Which checks of the program's JSON fail.
std::string failures(const json& result) {
  std::string names;
  for (const json& check : result["checks"]) {
    if (check["result"] != "FAIL") continue;
    if (!names.empty()) names += ", ";
    names += check["name"].get<std::string>();
  }
  return names;
}

TEST(SelftestCommand, FindsTheFaultsOfSimulatedCameras) {
  const ScratchFolder folder;
  platform::setEnvironmentVariable("XDG_CACHE_HOME", folder.path(""));
  const struct {
    const char *scenario, *failing;
  } cases[] = {
    {"hollis12;fault=refuse-start", "open"},
    {"marlow3;fault=unplug@40", "connection"},
    {"marlow3;fault=stall@40", "frames"},
    {"marlow3;rate=30", "rate"},
    {"marlow3;fault=garbage-reply:1000@40", "registers"},
#if !OMBRIX_SANITIZED  // a hundred frames take their time
    {"bramble6;fault=stuck-shutter", "shutter"},
#endif
  };
  for (const auto& test : cases) {
    const Outcome outcome = runOmbrix({"selftest", "--seconds", "1", "--json", "--simulate", test.scenario});
    EXPECT_EQ(outcome.exitCode, 1) << test.scenario;
    const json result = json::parse(outcome.out);
    EXPECT_THAT(failures(result), testing::HasSubstr(test.failing)) << outcome.out;
    EXPECT_EQ(outcome.err, format("ombrix: selftest failed: {}\n", failures(result)));
  }
}

TEST(SelftestCommand, AGoodCameraHoldsButForWhatABusyMachineSpoils) {
  const ScratchFolder folder;
  platform::setEnvironmentVariable("XDG_CACHE_HOME", folder.path(""));
  const Outcome outcome = runOmbrix(
      {"selftest", "--seconds", "1", "--json", "--simulate", OMBRIX_SANITIZED ? "marlow3" : "bramble6"});
  const json result = json::parse(outcome.out);
  EXPECT_EQ(result["serialNumber"], 466001359);
  const std::set<std::string> busy = {"frames", "rate", "latency", "time-outs"},
                              skipped = {"file-shutter", "file-polynomials",
                                         OMBRIX_SANITIZED ? "shutter" : ""};
  for (const json& check : result["checks"]) {
    const std::string name = check["name"];
    if (busy.count(name) > 0) continue;
    EXPECT_EQ(check["result"], skipped.count(name) ? "skipped" : "ok") << check;
  }
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path("")))
    EXPECT_NE(entry.path().filename(), "ffc") << "nothing of the user's changes";
}
