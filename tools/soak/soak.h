#pragma once

#include <cstdint>

namespace soak {

struct SoakOptions {
  double minutes = 30.0;
  std::uint64_t seed = 1;
};

/// Streams from four cameras of all models for so long, with fast and slow consumers, a fault every few
/// seconds, and a new life of the SDK every ten. Prints how it goes and what it comes to; false when
/// something was found: a figure that grew, a camera that stopped for good, a time-out or a bound not kept.
bool runSoak(const SoakOptions& options);

}  // namespace soak
