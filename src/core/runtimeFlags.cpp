#include "core/runtimeFlags.h"

std::atomic<bool> workerRunningFlag{false};
std::atomic<bool> freeRunMode{false};
std::atomic<bool> acquiringFlag{false};
