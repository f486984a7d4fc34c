#pragma once

#include <chrono>
#include <thread>

/// Waits until `predicate` holds, looking every millisecond; false when it does not within `deadline`.
template <typename Predicate>
bool waitFor(Predicate predicate, std::chrono::milliseconds deadline = std::chrono::seconds(5)) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!predicate()) {
    if (std::chrono::steady_clock::now() >= end) return predicate();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}
