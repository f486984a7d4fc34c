#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"
#include "tools/soak/Random.h"
#include "tools/soak/Watchdog.h"

namespace soak {

/// What the cycles of a storm did.
struct StormCounts {
  std::uint64_t cameras = 0;    ///< opened, with or without success
  std::uint64_t faults = 0;     ///< applied to them
  std::uint64_t calls = 0;      ///< made by the threads of the application
  std::uint64_t destroyed = 0;  ///< SDK objects
  Clock::duration longestDestruction{};
};

/// One life of the SDK: cameras are opened and steered by four threads while they are unplugged, stalled and
/// plugged in again, and everything is destroyed in the midst of it.
class StormCycle {
 public:
  /// dataPath: calibration files for a Marlow 3 at index 0.
  StormCycle(std::uint64_t seed, bool smallCameras, const std::string& dataPath, Findings& findings,
             Watchdog& watchdog, StormCounts& counts);
  void run();

 private:
  static constexpr unsigned kThreads = 4;

  std::string chooseScenario(bool smallCameras);
  void create();
  void openCameras();
  void startThreads();
  void joinThreads();
  void makeEvents();
  void makeEvent();
  void applyFault();
  void destroy();
  void callThreadProc(std::uint64_t seed, std::vector<Ombrix> handles);

  Random random;
  Findings& found;
  Watchdog& dog;
  StormCounts& totals;
  const std::string calibrated;
  const bool overtaken;  ///< the threads still call when the SDK is destroyed
  unsigned cameraCount = 0;
  std::string scenario;
  std::shared_ptr<simulation::SimulatedPlatform> platform;
  std::unique_ptr<OmbrixSDK> sdk;
  std::vector<Ombrix> cameras;
  std::atomic<bool> stop{false};
  std::atomic<std::uint64_t> callsMade{0};
  std::vector<std::thread> threads;
};

}  // namespace soak
