#pragma once

#include <mutex>

#include "common/lockOrder.h"
#include "common/threadAnnotations.h"

/// std::mutex with the annotations that libstdc++'s lacks, and a place in the order of locks; still passes as
/// `std::mutex*`, which bypasses the check of the order (see `LockScope`).
class CAPABILITY("mutex") Mutex : public std::mutex {
 public:
  /// A template, since not every system has a mutex that can be made at compile time.
  template <typename Rank = LockRank>
  constexpr explicit Mutex(Rank rank = LockRank::leaf) noexcept : place(rank) {}

  void lock() ACQUIRE() {
    place.enter();
    std::mutex::lock();
  }
  void unlock() RELEASE() {
    place.leave();
    std::mutex::unlock();
  }

 private:
  friend class MutexLock;
  [[no_unique_address]] LockPlace place;
};
static_assert(LockPlace::kChecked || sizeof(Mutex) == sizeof(std::mutex));

/// Holds a Mutex for a scope. `native()` is what std::condition_variable waits with:
/// `while (!ready) condition.wait(lock.native());` For the order of locks a waiting thread holds the mutex.
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : place(mutex.place) {
    place.enter();
    held = std::unique_lock<std::mutex>(mutex);
  }
  ~MutexLock() RELEASE() {
    if (held.owns_lock()) place.leave();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void unlock() RELEASE() {
    place.leave();
    held.unlock();
  }
  void lock() ACQUIRE() {
    place.enter();
    held.lock();
  }
  std::unique_lock<std::mutex>& native() { return held; }

 private:
  [[no_unique_address]] LockPlace place;
  std::unique_lock<std::mutex> held;
};
