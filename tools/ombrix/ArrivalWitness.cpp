#include "tools/ombrix/ArrivalWitness.h"

#include <algorithm>

#include "core/ArrivalSignal.h"

namespace tools {
namespace {

constexpr std::chrono::milliseconds kSlice{20};
constexpr std::size_t kLongestRecord = 1 << 20;  // hours of frames

}  // namespace

ArrivalWitness::ArrivalWitness(imageAcquisition& watchedCamera) : camera(watchedCamera) {
  arrivals.reserve(4096);
  thread = std::thread([this] { witnessThreadProc(); });
}

void ArrivalWitness::stop() {
  stopping = true;
  if (thread.joinable()) thread.join();
}

void ArrivalWitness::witnessThreadProc() {
  std::uint64_t last = camera.ring.frameCounter;
  while (!stopping) {
    const std::uint64_t seen = frameArrivals.count();
    const std::uint64_t number = camera.ring.frameCounter;
    const auto now = Clock::now();
    if (number != last && arrivals.size() < kLongestRecord) arrivals.emplace_back(number, now);
    last = number;
    if (!lost && camera.isLost()) lost = now;
    frameArrivals.waitBeyond(seen, kSlice);
  }
}

std::optional<ArrivalWitness::Clock::time_point> ArrivalWitness::arrivalOf(std::uint64_t number) const {
  const auto found =
      std::lower_bound(arrivals.begin(), arrivals.end(), number,
                       [](const auto& entry, std::uint64_t wanted) { return entry.first < wanted; });
  if (found == arrivals.end() || found->first != number) return std::nullopt;
  return found->second;
}

}  // namespace tools
