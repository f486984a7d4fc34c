#pragma once

#include <atomic>

/// Process-wide switches that the SDK's threads share.

/// Set while the Core worker runs. Written by Core, read by everyone.
extern std::atomic<bool> workerRunningFlag;
/// Free-run: frames are processed without asking for a paired temperature or trigger.
extern std::atomic<bool> freeRunMode;
/// Set while at least one camera streams.
extern std::atomic<bool> acquiringFlag;
