#include "tools/soak/RestingPoint.h"

#include <chrono>
#include <thread>

#include "common/format.h"
#include "ombrix/OmbrixSDK.h"
#include "tools/soak/pace.h"

namespace soak {
namespace {

using namespace std::chrono_literals;

/// A thread that is slow to stop may be left behind, for as long as the simulator was told to be slow.
constexpr auto kStragglers = 20s;

// A sanitizer keeps freed memory back and shadows all of it, so only what is allocated tells something there.
constexpr GrowthCheck::Limits kLimits{kFullSpeed ? 16u << 20 : 0, 256u << 10};

}  // namespace

RestingPoint::RestingPoint(std::size_t warmUp)
    : platform(simulation::makeSimulatedPlatform("marlow3;step=on")), growth(kLimits, warmUp) {
  // Every number of workers that will be asked for: pools stay.
  for (int units = 0; units <= 3; ++units) comeAndGo(units);
  threadsAtRest = readProcessFigures().threads;
}

void RestingPoint::comeAndGo(int processingUnits) const {
  transport::installVideoPlatform(platform);
  { const OmbrixSDK sdk(OmbrixSDK::verbosityErrors, processingUnits); }
  transport::installVideoPlatform(nullptr);
}

void RestingPoint::take(Findings& findings) {
  comeAndGo(1);
  const auto deadline = Clock::now() + kStragglers;
  while (readProcessFigures().threads > threadsAtRest && Clock::now() < deadline) {
    std::this_thread::sleep_for(5ms);
  }
  giveFreedMemoryBack();
  growth.add(readProcessFigures());
  if (latest().threads <= threadsAtRest) return;
  findings.add(format("{:d} threads are left where {:d} were before", latest().threads, threadsAtRest));
  threadsAtRest = latest().threads;  // one line each
}

bool RestingPoint::conclude(Findings& findings) const {
  for (const std::string& finding : growth.findings()) findings.add(finding);
  return growth.canTell();
}

}  // namespace soak
