#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>

#include "common/mutex.h"

/// Tells one waiter that something arrived somewhere: any camera's frame, temperature or trigger. Read
/// `count` first, look for work, then wait beyond that count: nothing that arrives in between is missed.
class ArrivalSignal {
 public:
  void notify() EXCLUDES(mutex) {
    MutexLock lock(mutex);
    ++arrivals;
    condition.notify_all();
  }

  std::uint64_t count() const EXCLUDES(mutex) {
    MutexLock lock(mutex);
    return arrivals;
  }

  /// Waits until more than `seen` things have arrived, at most `limit`.
  void waitBeyond(std::uint64_t seen, std::chrono::microseconds limit) EXCLUDES(mutex) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    MutexLock lock(mutex);
    while (arrivals <= seen) {
      if (condition.wait_until(lock.native(), deadline) == std::cv_status::timeout) return;
    }
  }

 private:
  mutable Mutex mutex{LockRank::arrivals};
  std::condition_variable condition;
  std::uint64_t arrivals GUARDED_BY(mutex) = 0;
};

/// What the Core worker waits for between cycles. Never destroyed: a process may end while cameras deliver.
extern ArrivalSignal& frameArrivals;
