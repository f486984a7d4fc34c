#include "tools/soak/StormCycle.h"

#include <algorithm>
#include <chrono>

#include "common/format.h"
#include "tools/soak/calls.h"
#include "tools/soak/pace.h"

namespace soak {
namespace {

using namespace std::chrono_literals;

constexpr auto kCreationBound = kFullSpeed ? 5s : 20s;
constexpr auto kOpeningBound = kFullSpeed ? 10s : 60s;

// A '#' stands for a number from 1 to 9.
constexpr const char* kFaultsAtOpening[] = {
    "refuse-start:1",     "refuse-type:1",   "register:#",    "register:1#:ETIMEDOUT",
    "slow-register:#0:9", "garbage-reply:#", "empty-reply:#", "fail-rearm:1@#",
    "unplug@#",           "stall@#",
};
constexpr const char* kFaultsWhileStreaming[] = {
    "unplug",
    "unplug",
    "replug",
    "replug",
    "stall",
    "resume",
    "short:#",
    "empty:#",
    "oversize:#",
    "missing:#",
    "duplicate:#",
    "failed:1",
    "fail-rearm:1",
    "register:#",
    "register:#:ETIMEDOUT",
    "slow-register:#0:3",
    "garbage-reply:#",
    "stale-reply:#",
    "lower-case-reply:#",
    "rate:#0",
    "jitter:#",
    "ramp:#",
    "slow-stop:1#00",
    "clear",
};
constexpr const char* kWords[] = {"displayHistogram",  "displayTarget=1",  "displayMinMax",
                                  "displayFrameRate",  "displayImageSize", "cookedSnapshot",
                                  "colorSnapshot",     "bitRate=7",        "processingUnits=3",
                                  "processingUnits=1", "disableComposite", "tiffFrameDump=0"};

std::string withNumbers(std::string text, Random& random) {
  for (char& letter : text) {
    if (letter == '#') letter = static_cast<char>('1' + random.below(9));
  }
  return text;
}

}  // namespace

StormCycle::StormCycle(std::uint64_t seed, bool smallCameras, const std::string& dataPath, Findings& findings,
                       Watchdog& watchdog, StormCounts& counts)
    : random(seed),
      found(findings),
      dog(watchdog),
      totals(counts),
      calibrated(dataPath),
      overtaken(!random.oneIn(4)),
      scenario(chooseScenario(smallCameras)) {}

std::string StormCycle::chooseScenario(bool smallCameras) {
  cameraCount = random.between(1, 4);
  std::string models, options;
  for (unsigned i = 0; i < cameraCount; ++i) {
    // One Hollis 12 at most: four would be a test of the machine's memory.
    const char* model = "marlow3";
    if (!smallCameras && random.oneIn(5)) model = "bramble6";
    if (!smallCameras && i == 0 && random.oneIn(10)) model = "hollis12";
    models += format("{:s}{:s}", i == 0 ? "" : ",", model);
    const unsigned rate = kFullSpeed ? random.between(20, 200) : random.between(5, 15);
    options += format(";{:d}.rate={:d}", i, rate);
    if (random.oneIn(4)) {
      options += format(";{:d}.fault={:s}", i, withNumbers(random.pick(kFaultsAtOpening), random));
    }
    if (random.oneIn(20)) options += format(";{:d}.types=none", i);
  }
  return models + (random.oneIn(3) ? ";scene=room" : ";scene=coded") + options;
}

void StormCycle::run() {
  platform = simulation::makeSimulatedPlatform(scenario);
  transport::installVideoPlatform(platform);
  create();
  openCameras();
  startThreads();
  makeEvents();
  if (!overtaken) joinThreads();
  destroy();
  if (overtaken) joinThreads();
  totals.calls += callsMade;
  if (platform->startCount() != 0) {
    found.add(format("{:d} starts of the platform were not given back", platform->startCount()));
  }
}

void StormCycle::create() {
  const int units = static_cast<int>(random.below(3));
  const auto verbosity = random.oneIn(4) ? OmbrixSDK::verbosityInfo : OmbrixSDK::verbosityErrors;
  dog.watch("OmbrixSDK()", -1, kCreationBound, [&] { sdk = std::make_unique<OmbrixSDK>(verbosity, units); });
}

/// The first one, then each on a thread of its own or one after the other. A handle that no camera has comes
/// along at times.
void StormCycle::openCameras() {
  const int count = static_cast<int>(cameraCount) + (random.oneIn(8) ? 1 : 0);
  dog.watch("Ombrix()", 0, kOpeningBound,
            [&] { cameras.assign(static_cast<std::size_t>(count), Ombrix(0, calibrated)); });
  const auto open = [this](int handle) {
    dog.watch("Ombrix()", handle, kOpeningBound,
              [&] { cameras[static_cast<std::size_t>(handle)] = Ombrix(handle, calibrated); });
  };
  std::vector<std::thread> openers;
  const bool together = random.oneIn(2);
  for (int handle = 1; handle < count; ++handle) {
    if (together) {
      openers.emplace_back(open, handle);
    } else {
      open(handle);
    }
  }
  for (auto& opener : openers) opener.join();
  totals.cameras += static_cast<std::uint64_t>(count);
}

void StormCycle::startThreads() {
  for (unsigned i = 0; i < kThreads; ++i) {
    threads.emplace_back(&StormCycle::callThreadProc, this, random.fork(), cameras);
  }
}

void StormCycle::joinThreads() {
  stop = true;
  for (auto& thread : threads) thread.join();  // the watchdog sees to the calls in them
  threads.clear();
}

void StormCycle::callThreadProc(std::uint64_t seed, std::vector<Ombrix> handles) {
  Random own(seed);
  while (!stop) {
    const unsigned handle = own.below(static_cast<unsigned>(handles.size()));
    makeRandomCall(dog, handles[handle], static_cast<int>(handle), own, {overtaken});
    ++callsMade;
    std::this_thread::sleep_for(std::chrono::microseconds(own.below(3000)));
  }
}

void StormCycle::makeEvents() {
  const unsigned events = random.between(1, 6);
  for (unsigned i = 0; i < events; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(random.below(80)));
    makeEvent();
  }
}

void StormCycle::makeEvent() {
  switch (random.below(8)) {
    case 0:
      dog.watch("parseCoreParameter", -1, kClosingBound,
                [&] { sdk->parseCoreParameter(random.pick(kWords)); });
      break;
    case 1:
      dog.watch("runFFC", 0, kClosingBound,
                [&] { cameras[0].runFFC(false, static_cast<int>(random.below(5))); });
      break;
    case 2:
      // A second life on the same cameras while the threads go on with their handles.
      if (random.oneIn(2)) break;
      destroy();
      create();
      openCameras();
      break;
    default:
      applyFault();
  }
}

void StormCycle::applyFault() {
  const unsigned camera = random.below(cameraCount);
  const std::string fault = withNumbers(random.pick(kFaultsWhileStreaming), random);
  const std::string reason = platform->camera(camera).apply(fault);
  if (!reason.empty()) found.add(format("fault '{:s}' is none: {:s}", fault, reason));
  ++totals.faults;
}

void StormCycle::destroy() {
  const auto took = dog.watch("~OmbrixSDK()", -1, kClosingBound, [&] { sdk.reset(); });
  totals.longestDestruction = std::max(totals.longestDestruction, took);
  ++totals.destroyed;
}

}  // namespace soak
