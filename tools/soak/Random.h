#pragma once

#include <cstddef>
#include <cstdint>

#include "acquisition/backends/simulated/randomSource.h"

namespace soak {

/// A sequence that one seed always repeats, on every machine.
class Random {
 public:
  explicit Random(std::uint64_t seed) : source(seed) {}

  /// 0 .. count - 1; count at least 1.
  unsigned below(unsigned count) { return static_cast<unsigned>(source.below(count)); }
  unsigned between(unsigned least, unsigned most) { return least + below(most - least + 1); }
  bool oneIn(unsigned count) { return below(count) == 0; }
  template <typename T, std::size_t N>
  const T& pick(const T (&table)[N]) {
    return table[below(static_cast<unsigned>(N))];
  }
  /// A seed for a sequence of its own.
  std::uint64_t fork() { return source.bits(); }

 private:
  simulation::RandomSource source;
};

}  // namespace soak
