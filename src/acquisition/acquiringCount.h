#pragma once

#include <atomic>

/// The number of streaming cameras, and the SDK's shared flags that follow from it. One camera's stop must
/// not blank the others, so the acquiring flag is "count above 0".
namespace acquiringCount {

/// Where the shared flags are; both outlive every camera.
void setFlags(std::atomic<bool>* workerRunning, std::atomic<bool>* acquiring);

void add();
void remove();

/// True while any camera streams.
bool acquiring();

}  // namespace acquiringCount
