#pragma once

#include <cstdint>
#include <vector>

namespace tools {

/// One delivered frame, as the consumer saw it.
struct Delivery {
  std::uint64_t frameNumber = 0;
  std::int64_t returnedNs = 0;  ///< monotonic clock, when the getter returned
};

/// What a run of deliveries says.
struct StreamFigures {
  std::uint64_t samplesProduced = 0;  ///< by the backend, from the first to the last delivered frame
  std::uint64_t distinctFrames = 0;   ///< different frame numbers delivered
  std::uint64_t missed = 0;           ///< samplesProduced - distinctFrames
  double framesPerSecond = 0.0;
  double medianLatencyMs = 0.0;  ///< from the backend's hand-over to the getter's return
  double p99LatencyMs = 0.0;
  std::uint64_t unpaired = 0;  ///< deliveries whose hand-over was not found
};

/// A sample that the backend handed to the library.
struct HandOver {
  std::uint64_t frameNumber = 0;  ///< of the stream, from 1
  std::int64_t steadyNs = 0;      ///< monotonic clock
};

/// Pairs the deliveries with the backend's records by frame number. Both in the order of time.
/// dropped: samples that the backend made meanwhile and could not hand over, because nobody asked in time.
StreamFigures measure(const std::vector<Delivery>& deliveries, const std::vector<HandOver>& handOvers,
                      std::uint64_t dropped);

/// The value below which `share` (0 to 1) of the values lie, by rank; 0 for none.
double quantile(std::vector<double> values, double share);

}  // namespace tools
