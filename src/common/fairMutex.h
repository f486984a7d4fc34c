#pragma once

#include <condition_variable>

#include "common/mutex.h"

/// A mutex that serves in order of arrival. A plain mutex lets a thread that unlocks and locks again in a
/// loop starve the others for seconds; here the unlocking thread hands over to the longest waiting one.
/// Waits on it go through std::condition_variable_any.
class CAPABILITY("mutex") FairMutex {
 public:
  explicit FairMutex(LockRank rank = LockRank::leaf) : place(rank) {}
  FairMutex(const FairMutex&) = delete;
  FairMutex& operator=(const FairMutex&) = delete;

  void lock() ACQUIRE();
  void unlock() RELEASE();

  /// Number of threads in line behind the owner.
  unsigned waiting() const;

 private:
  struct Waiter {
    std::condition_variable turn;
    bool served = false;
    Waiter* next = nullptr;
  };

  const LockPlace place;
  mutable Mutex queueMutex{LockRank::fairQueue};
  bool taken GUARDED_BY(queueMutex) = false;
  Waiter* first GUARDED_BY(queueMutex) = nullptr;
  Waiter* last GUARDED_BY(queueMutex) = nullptr;
};

/// Holds a FairMutex for a scope; itself a lockable, so a condition_variable_any waits with it.
class SCOPED_CAPABILITY FairLock {
 public:
  explicit FairLock(FairMutex& mutex) ACQUIRE(mutex) : held(mutex) { mutex.lock(); }
  ~FairLock() RELEASE() {
    if (owned) held.unlock();
  }
  FairLock(const FairLock&) = delete;
  FairLock& operator=(const FairLock&) = delete;

  void lock() ACQUIRE() {
    held.lock();
    owned = true;
  }
  void unlock() RELEASE() {
    owned = false;
    held.unlock();
  }

 private:
  FairMutex& held;
  bool owned = true;
};
