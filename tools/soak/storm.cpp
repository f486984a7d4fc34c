#include "tools/soak/storm.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>

#include "acquisition/backends/simulated/calibrationSet.h"
#include "common/format.h"
#include "tools/common/session.h"
#include "tools/soak/RestingPoint.h"
#include "tools/soak/ScratchDirectory.h"
#include "tools/soak/StormCycle.h"
#include "tools/soak/logTail.h"

namespace soak {
namespace {

using namespace std::chrono_literals;

double seconds(Clock::duration span) { return std::chrono::duration<double>(span).count(); }

/// What the cycles share, and what is said about them.
class Storm {
 public:
  explicit Storm(const StormOptions& wanted)
      : options(wanted),
        found([this] { return format("storm, seed {:d}, cycle {:d}", options.seed, cycle.load()); }) {}

  bool run() {
    std::printf("storm: %u cycles, seed %llu, %s cameras\n", options.cycles,
                static_cast<unsigned long long>(options.seed), options.smallCameras ? "small" : "mixed");
    simulation::writeCalibrationSet(simulation::makeCameraSpec("marlow3"), "calibrated");
    for (unsigned i = 0; i < options.cycles && !tools::interrupted(); ++i) {
      cycle = options.first + i;
      runCycle();
      if (i == 0 || Clock::now() - lastLine > 5s) printLine();
    }
    return conclude();
  }

 private:
  void runCycle() {
    {
      StormCycle life(simulation::mixBits(options.seed, cycle), options.smallCameras, "calibrated", found,
                      dog, counts);
      life.run();
    }
    rest.take(found);
    // Every dump appends to its file.
    std::error_code ignored;
    std::filesystem::remove_all("data", ignored);
  }

  void printLine() {
    lastLine = Clock::now();
    std::printf("cycle %u: %llu cameras, %llu faults, %llu calls, longest destruction %.2f s; %s\n",
                cycle.load(), static_cast<unsigned long long>(counts.cameras),
                static_cast<unsigned long long>(counts.faults), static_cast<unsigned long long>(counts.calls),
                seconds(counts.longestDestruction), describe(rest.latest()).c_str());
    std::fflush(stdout);
  }

  bool conclude() {
    printLine();
    if (!rest.conclude(found)) std::printf("too few cycles to tell whether anything grew\n");
    if (logTail::abandonedCameras() > 0) {
      found.add(format("clean-up left {:d} cameras behind because a call on them did not end",
                       logTail::abandonedCameras()));
    }
    std::printf("storm: %u cycles, seed %llu: %s\n", cycle.load() + 1 - options.first,
                static_cast<unsigned long long>(options.seed),
                found.count() == 0 ? "nothing found" : format("{:d} findings", found.count()).c_str());
    return found.count() == 0;
  }

  const StormOptions options;
  const ScratchDirectory scratch;
  std::atomic<unsigned> cycle{0};
  Findings found;
  Watchdog dog{found};
  StormCounts counts;
  RestingPoint rest{10};  // cycles
  Clock::time_point lastLine = Clock::now();
};

}  // namespace

bool runStorm(const StormOptions& options) {
  tools::catchInterrupts();
  logTail::install();
  return Storm(options).run();
}

}  // namespace soak
