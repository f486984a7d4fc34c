#pragma once

#include <mutex>

#include "common/threadAnnotations.h"

/// std::mutex with the annotations that libstdc++'s lacks; still passes as `std::mutex*`.
class CAPABILITY("mutex") Mutex : public std::mutex {
 public:
  void lock() ACQUIRE() { std::mutex::lock(); }
  void unlock() RELEASE() { std::mutex::unlock(); }
  bool try_lock() TRY_ACQUIRE(true) { return std::mutex::try_lock(); }
};

/// Holds a Mutex for a scope. `native()` is what std::condition_variable waits with:
/// `while (!ready) condition.wait(lock.native());`
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : held(mutex) {}
  ~MutexLock() RELEASE() = default;
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void unlock() RELEASE() { held.unlock(); }
  void lock() ACQUIRE() { held.lock(); }
  std::unique_lock<std::mutex>& native() { return held; }

 private:
  std::unique_lock<std::mutex> held;
};
