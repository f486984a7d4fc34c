#pragma once

#include <array>
#include <cstdint>

namespace simulation {

/// What a camera's carrier counted since the stream was last started.
struct StreamCounts {
  std::uint64_t produced = 0;       ///< frame periods that passed
  std::uint64_t delivered = 0;      ///< whole samples handed over
  std::uint64_t dropped = 0;        ///< samples that nobody was ready to take
  std::uint64_t faulty = 0;         ///< short, empty, missing, failed or silent periods
  std::uint64_t requests = 0;       ///< samples asked for
  std::int32_t postedStatus = 0;    ///< the last failure that was posted
  std::uint64_t posted = 0;         ///< how many were
  std::int64_t generatorCpuNs = 0;  ///< processor time of making the samples, the receiver's part excluded
};

/// Steady-clock times at which whole samples were handed over, by sequence number from 1: the number that a
/// receiver reaches by counting the whole samples of a stream.
class HandOverTimes {
 public:
  static constexpr std::uint64_t kKept = 8192;
  void note(std::uint64_t sequence, std::int64_t steadyNs) { times[sequence % kKept] = {sequence, steadyNs}; }
  /// 0 when the number is not among the latest 8,192.
  std::int64_t at(std::uint64_t sequence) const {
    const auto& entry = times[sequence % kKept];
    return entry.sequence == sequence ? entry.steadyNs : 0;
  }
  void clear() { times = {}; }

 private:
  struct Entry {
    std::uint64_t sequence = 0;
    std::int64_t steadyNs = 0;
  };
  std::array<Entry, kKept> times{};
};

}  // namespace simulation
