#include "tools/common/frameLog.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_map>

#include "common/numerics.h"

namespace tools {

double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0.0;
  std::sort(values.begin(), values.end());
  const double rank = std::ceil(share * static_cast<double>(values.size()));
  return values[std::clamp<std::size_t>(truncateToU32(rank), 1, values.size()) - 1];
}

StreamFigures measure(const std::vector<Delivery>& deliveries, const std::vector<HandOver>& handOvers,
                      std::uint64_t dropped) {
  StreamFigures figures;
  if (deliveries.empty()) return figures;
  std::unordered_map<std::uint64_t, std::int64_t> handedOverNs;
  const std::uint64_t first = deliveries.front().frameNumber;
  const std::uint64_t last = deliveries.back().frameNumber;
  for (const HandOver& sample : handOvers) {
    handedOverNs.emplace(sample.frameNumber, sample.steadyNs);
    if (sample.frameNumber >= first && sample.frameNumber <= last) ++figures.samplesProduced;
  }
  figures.samplesProduced += dropped;

  std::set<std::uint64_t> numbers;
  std::vector<double> latenciesMs;
  for (const Delivery& delivery : deliveries) {
    numbers.insert(delivery.frameNumber);
    const auto found = handedOverNs.find(delivery.frameNumber);
    if (found == handedOverNs.end()) {
      ++figures.unpaired;
    } else {
      latenciesMs.push_back(static_cast<double>(delivery.returnedNs - found->second) / 1e6);
    }
  }
  figures.distinctFrames = numbers.size();
  figures.missed = figures.samplesProduced - std::min(figures.samplesProduced, figures.distinctFrames);
  const std::int64_t spanNs = deliveries.back().returnedNs - deliveries.front().returnedNs;
  if (spanNs > 0) {
    figures.framesPerSecond = static_cast<double>(deliveries.size() - 1) * 1e9 / static_cast<double>(spanNs);
  }
  figures.medianLatencyMs = quantile(latenciesMs, 0.5);
  figures.p99LatencyMs = quantile(latenciesMs, 0.99);
  return figures;
}

}  // namespace tools
