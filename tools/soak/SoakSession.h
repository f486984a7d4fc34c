#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "common/mutex.h"
#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"
#include "tools/soak/Random.h"
#include "tools/soak/Watchdog.h"

namespace soak {

/// What a soak comes to.
struct SoakTotals {
  std::uint64_t arrived = 0;                ///< samples that reached a camera's ring
  std::uint64_t processed = 0;              ///< frames that were corrected and published
  std::atomic<std::uint64_t> delivered{0};  ///< to consumers, raw and coloured
  std::uint64_t faults = 0;
  std::uint64_t survived =
      0;  ///< faults after which the camera delivered again, opened anew where it was lost
  std::uint64_t lives = 0;
  Clock::duration longestDestruction{};
};

/// One life of the SDK within a soak: every camera is opened and read by a fast and a slow consumer, is seen
/// to flow, and has faults.
class SoakSession {
 public:
  /// owedFaults: per camera, faults whose survival has not been seen yet; goes on from life to life.
  SoakSession(simulation::SimulatedPlatform& simulated, const std::string& dataPath, Random& choices,
              Findings& findings, Watchdog& watchdog, SoakTotals& sums,
              std::vector<std::uint64_t>& owedFaults);

  /// Lives for `span`; `eachMoment` is called ten times a second. faults: whether any are made.
  void run(Clock::duration span, bool faults, const std::function<void()>& eachMoment);

 private:
  enum class State { flowing, stalled, lost };
  struct Camera {
    State state = State::flowing;
    std::uint64_t arrived = 0;
    std::uint64_t processed = 0;
    Clock::time_point advanced;  ///< when `processed` last rose, or the state changed; Watchdog::unhindered
    Clock::time_point until;     ///< stalled: resumes; lost by unplugging: is plugged in again
    bool unplugged = false;
    std::string lastFault = "none";
  };

  void open();
  void close();
  void startConsumers();
  void consumerThreadProc(Ombrix camera, int handle, bool fast);
  void look(std::size_t index);
  void followUp(std::size_t index);
  void strike();
  void strikeStream(std::size_t index);
  void strikeRegisters(std::size_t index);
  void steer();
  void apply(std::size_t index, const std::string& fault);
  bool pauseConsumer(std::chrono::milliseconds span);

  simulation::SimulatedPlatform& platform;
  const std::string calibrated;
  Random& random;
  Findings& found;
  Watchdog& dog;
  SoakTotals& totals;
  std::vector<std::uint64_t>& owed;
  std::unique_ptr<OmbrixSDK> sdk;
  std::vector<Ombrix> handles;
  std::vector<Camera> cameras;
  std::vector<std::thread> consumers;
  Mutex stopMutex;
  std::condition_variable stopCondition;
  bool stop GUARDED_BY(stopMutex) = false;
};

}  // namespace soak
