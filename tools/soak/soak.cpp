#include "tools/soak/soak.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/calibrationSet.h"
#include "common/format.h"
#include "tools/common/session.h"
#include "tools/soak/RestingPoint.h"
#include "tools/soak/ScratchDirectory.h"
#include "tools/soak/SoakSession.h"
#include "tools/soak/logTail.h"
#include "tools/soak/pace.h"

namespace soak {
namespace {

using namespace std::chrono_literals;

constexpr auto kLongestLife = 10s;
constexpr auto kLinePause = 5s;

/// The cameras, and how fast they are compared with one another, frames per second. What the machine bears
/// is found out.
constexpr std::array<double, 4> kRates =
    kFullSpeed ? std::array{100.0, 100.0, 40.0, 6.0} : std::array{8.0, 8.0, 4.0, 1.0};

class Soak {
 public:
  explicit Soak(const SoakOptions& wanted)
      : options(wanted),
        random(wanted.seed),
        found([this] { return format("soak, seed {:d}, {:.0f} s", options.seed, secondsGone()); }) {}

  bool run() {
    std::printf("soak: %.1f minutes, seed %llu: two Marlow 3, a Bramble 6, a Hollis 12\n", options.minutes,
                static_cast<unsigned long long>(options.seed));
    simulation::Scenario cameras;
    simulation::ScenarioError error;
    simulation::readScenario(scenario(), cameras, error);
    for (const auto& camera : cameras.cameras) simulation::writeCalibrationSet(camera, "calibrated");
    start = lastLine = Clock::now();
    while (!over()) round();
    return conclude();
  }

 private:
  double secondsGone() const { return std::chrono::duration<double>(Clock::now() - start).count(); }
  bool over() const { return secondsGone() >= 60.0 * options.minutes || tools::interrupted(); }

  std::string scenario() const {
    std::string text = "marlow3,marlow3,bramble6,hollis12;scene=room";
    for (std::size_t i = 0; i < kRates.size(); ++i) {
      text += format(";{:d}.rate={:.2f}", i, std::clamp(kRates[i] * pace, 1.0, 500.0));
    }
    return text;
  }

  void round() {
    const std::uint64_t arrivedBefore = totals.arrived, processedBefore = totals.processed;
    liveTwice();
    rest.take(found);
    adaptPace(totals.arrived - arrivedBefore, totals.processed - processedBefore);
  }

  /// Cameras from power-on: a life with faults, and one after it that finds all of them again.
  void liveTwice() {
    const auto platform = simulation::makeSimulatedPlatform(scenario());
    transport::installVideoPlatform(platform);
    std::vector<std::uint64_t> owed(platform->cameraCount());
    // A fifteenth of the time at most, so that short runs have enough lives to compare.
    const auto life = std::min<Clock::duration>(
        kLongestLife, std::chrono::duration_cast<Clock::duration>(options.minutes * 4s));
    const auto eachMoment = [this] { tellNowAndThen(); };
    SoakSession(*platform, "calibrated", random, found, dog, totals, owed).run(life, true, eachMoment);
    SoakSession(*platform, "calibrated", random, found, dog, totals, owed).run(life / 4, false, eachMoment);
    transport::installVideoPlatform(nullptr);
  }

  /// As fast as the machine bears: samples that nobody processes cost time and bring nothing.
  void adaptPace(std::uint64_t arrived, std::uint64_t processed) {
    const double share = static_cast<double>(processed) / std::max(1.0, static_cast<double>(arrived));
    if (share < 0.9) pace *= 0.9;
    if (share > 0.97) pace *= 1.1;
    pace = std::clamp(pace, 0.1, 4.0);
  }

  void tellNowAndThen() {
    if (Clock::now() - lastLine < kLinePause) return;
    const auto since = std::chrono::duration<double>(Clock::now() - lastLine).count();
    lastLine = Clock::now();
    const ProcessFigures now = readProcessFigures();
    std::printf("%6.0f s  %9llu frames (%4.0f/s)  %llu missed  %llu of %llu faults survived  %s\n",
                secondsGone(), static_cast<unsigned long long>(totals.processed),
                static_cast<double>(totals.processed - toldProcessed) / since,
                static_cast<unsigned long long>(totals.arrived - totals.processed),
                static_cast<unsigned long long>(totals.survived),
                static_cast<unsigned long long>(totals.faults), describe(now).c_str());
    toldProcessed = totals.processed;
  }

  bool conclude() {
    const double seconds = secondsGone();
    if (!rest.conclude(found)) std::printf("too short a run to tell whether anything grew\n");
    if (totals.survived != totals.faults && !tools::interrupted()) {
      found.add(format("{:d} faults were not survived", totals.faults - totals.survived));
    }
    if (logTail::abandonedCameras() > 0) found.add("clean-up left a camera behind");
    std::printf("at rest after each round:\n");
    const auto& samples = rest.samples();
    const std::size_t step = std::max<std::size_t>(1, samples.size() / 12);
    for (std::size_t i = 0; i < samples.size(); i += step) {
      std::printf("  %4zu  %s\n", i + 1, describe(samples[i]).c_str());
    }
    std::printf(
        "soak, seed %llu: %.1f minutes, %llu frames processed (%.0f/s), %llu missed, %llu delivered, "
        "%llu of %llu faults survived, %llu lives, longest destruction %.2f s: %s\n",
        static_cast<unsigned long long>(options.seed), seconds / 60.0,
        static_cast<unsigned long long>(totals.processed), static_cast<double>(totals.processed) / seconds,
        static_cast<unsigned long long>(totals.arrived - totals.processed),
        static_cast<unsigned long long>(totals.delivered.load()),
        static_cast<unsigned long long>(totals.survived), static_cast<unsigned long long>(totals.faults),
        static_cast<unsigned long long>(totals.lives),
        std::chrono::duration<double>(totals.longestDestruction).count(),
        found.count() == 0 ? "nothing found" : format("{:d} findings", found.count()).c_str());
    return found.count() == 0;
  }

  const SoakOptions options;
  const ScratchDirectory scratch;
  Random random;
  Clock::time_point start = Clock::now();
  Findings found;
  Watchdog dog{found};
  SoakTotals totals;
  RestingPoint rest{3};  // rounds
  double pace = 1.0;
  Clock::time_point lastLine = start;
  std::uint64_t toldProcessed = 0;
};

}  // namespace

bool runSoak(const SoakOptions& options) {
  tools::catchInterrupts();
  logTail::install();
  return Soak(options).run();
}

}  // namespace soak
