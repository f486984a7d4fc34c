#include "common/lockOrder.h"

#if defined(OMBRIX_CHECK_LOCKS)

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace {

/// By rank.
constexpr const char* kNames[] = {
    "core",
    "registry",
    "camera list",
    "started platform",
    "platform choice",
    "device list",
    "frame",
    "palette build",
    "colour",
    "calibration",
    "colour presets",
    "registers",
    "connection",
    "ring",
    "port",
    "platform",
    "seat",
    "delivery",
    "simulated frame",
    "simulated control",
    "stream record",
    "system calls",
    "control lengths",
    "settings",
    "settings text",
    "snapshot request",
    "acquiring count",
    "camera error",
    "worker pause",
    "pools",
    "task queue",
    "arrivals",
    "memory",
    "leaf",
    "log file",
    "console",
    "log sink",
    "fair queue",
};
static_assert(std::size(kNames) == static_cast<std::size_t>(LockRank::fairQueue) + 1);
static_assert(std::size(kNames) <= 64, "one bit each");

thread_local std::uint64_t held = 0;  // bit r: a mutex of rank r

}  // namespace

void LockPlace::enter() const {
  const auto wanted = static_cast<unsigned>(rank);
  if ((held >> wanted) != 0) {
    const auto innermost = static_cast<unsigned>(std::bit_width(held)) - 1;
    std::fprintf(stderr, "Lock order violated: the %s mutex is taken while the %s mutex is held\n",
                 kNames[wanted], kNames[innermost]);
    std::abort();
  }
  held |= std::uint64_t{1} << wanted;
}

void LockPlace::leave() const { held &= ~(std::uint64_t{1} << static_cast<unsigned>(rank)); }

#endif
