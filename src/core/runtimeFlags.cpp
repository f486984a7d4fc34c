#include "core/runtimeFlags.h"

std::atomic<bool> workerRunningFlag{};
std::atomic<bool> freeRunMode{};
std::atomic<bool> acquiringFlag{};
