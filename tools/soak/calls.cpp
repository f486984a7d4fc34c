#include "tools/soak/calls.h"

#include <string>
#include <utility>
#include <vector>

#include "common/format.h"
#include "tools/soak/pace.h"

namespace soak {
namespace {

using namespace std::chrono_literals;

struct Call {
  const char* name;
  std::chrono::milliseconds wait;  ///< what the call may wait for besides the frame in progress
  void (*run)(Ombrix& camera, Random& random);
};

constexpr auto kTransfers = 5s;  ///< register transfers
constexpr auto kFrameWait = 60ms;

void setMapping(Ombrix& camera, Random& random) {
  const auto mode = static_cast<Ombrix::mapping>(random.below(5));
  camera.setMappingMode(mode, static_cast<float>(random.below(30000)),
                        static_cast<float>(random.below(70000)));
}

void selectPreset(Ombrix& camera, Random& random) {
  int index = static_cast<int>(random.between(0, 40)) - 2;
  camera.setColorPreset(index);
}

void askForFacts(Ombrix& camera, Random&) {
  std::uint64_t width = 0, height = 0;
  unsigned short a = 0, b = 0, c = 0, d = 0;
  camera.getImageSize(width, height);
  camera.getSensorSettings(a, b, c, d);
  camera.getPartNumber();
  camera.getSerialNumber();
  camera.getErrorText();
  camera.getProcessingFrameRate();
}

void readTemperatures(Ombrix& camera, Random& random) {
  camera.getSensorTemperature();
  camera.getPixelTemperature(static_cast<int>(random.below(700)) - 20, static_cast<int>(random.below(300)),
                             0.9f);
}

void listDefects(Ombrix& camera, Random&) {
  std::vector<std::pair<int, int>> pixels;
  camera.getDefectivePixelsCorrection(pixels);
}

void takeSnapshot(Ombrix& camera, Random& random) {
  const auto kind = static_cast<Ombrix::snapshotKind>(random.below(3));
  camera.takeSnapshot(format("snapshot{:d}.{:s}", random.below(3), random.oneIn(2) ? "png" : "tiff"), kind);
}

constexpr Call kCalls[] = {
    {"setMappingMode", 0s, setMapping},
    {"setColorPreset", 0s, selectPreset},
    {"setFFC", 0s, [](Ombrix& camera, Random& random) { camera.setFFC(random.oneIn(2)); }},
    {"setDefectivePixelsCorrection", 0s,
     [](Ombrix& camera, Random& random) { camera.setDefectivePixelsCorrection(random.oneIn(2)); }},
    {"setShutterlessCorrection", 0s,
     [](Ombrix& camera, Random& random) { camera.setShutterlessCorrection(random.oneIn(2)); }},
    {"setRadiometricCorrection", 0s,
     [](Ombrix& camera, Random& random) { camera.setRadiometricCorrection(random.oneIn(2)); }},
    {"setColumnDestriping", 0s,
     [](Ombrix& camera, Random& random) { camera.setColumnDestriping(random.oneIn(2)); }},
    {"setTemporalFiltering", 0s,
     [](Ombrix& camera, Random& random) {
       camera.setTemporalFiltering(0.1f * static_cast<float>(random.below(12)));
     }},
    {"setProcessingFrameRate", 0s,
     [](Ombrix& camera, Random& random) {
       camera.setProcessingFrameRate(static_cast<float>(random.between(5, 500)));
     }},
    {"setFreeRun", 0s, [](Ombrix& camera, Random& random) { camera.setFreeRun(!random.oneIn(3)); }},
    {"softwareTriggerRequest", 0s, [](Ombrix& camera, Random&) { camera.softwareTriggerRequest(); }},
    {"closeShutter", kTransfers, [](Ombrix& camera, Random&) { camera.closeShutter(); }},
    {"openShutter", kTransfers, [](Ombrix& camera, Random&) { camera.openShutter(); }},
    {"runFFC", 0s,
     [](Ombrix& camera, Random& random) { camera.runFFC(false, static_cast<int>(random.below(6))); }},
    {"setFrameDump", 0s, [](Ombrix& camera, Random& random) { camera.setFrameDump(random.oneIn(6)); }},
    {"getters of facts", 0s, askForFacts},
    {"getters of temperatures", 0s, readTemperatures},
    {"getDefectivePixelsCorrection", 0s, listDefects},
    {"getRawFrame", kFrameWait,
     [](Ombrix& camera, Random& random) {
       camera.getRawFrame(nullptr, nullptr, static_cast<int>(random.below(60)));
     }},
    {"getColorFrame", kFrameWait,
     [](Ombrix& camera, Random& random) {
       camera.getColorFrame(nullptr, nullptr, static_cast<int>(random.below(60)));
     }},
};

/// These end late when a camera is silent; without a limit only because somebody destroys the SDK.
constexpr auto kUntilDestroyed = 20s;
constexpr Call kBlockingCalls[] = {
    {"getRawFrame without limit", kUntilDestroyed,
     [](Ombrix& camera, Random&) { camera.getRawFrame(nullptr, nullptr, -1); }},
    {"getColorFrame without limit", kUntilDestroyed,
     [](Ombrix& camera, Random&) { camera.getColorFrame(nullptr, nullptr, -1); }},
    {"runFFC with wait", kUntilDestroyed,
     [](Ombrix& camera, Random& random) { camera.runFFC(true, static_cast<int>(random.between(1, 6))); }},
    {"takeSnapshot", 5s, takeSnapshot},
};

}  // namespace

void makeRandomCall(Watchdog& watchdog, Ombrix& camera, int handle, Random& random,
                    const CallLimits& limits) {
  const bool blocking = limits.mayBlock && random.oneIn(20);
  const Call& call = blocking ? random.pick(kBlockingCalls) : random.pick(kCalls);
  watchdog.watch(call.name, handle, call.wait + kClosingBound, [&] { call.run(camera, random); });
}

}  // namespace soak
