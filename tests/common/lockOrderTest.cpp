#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <thread>

#include "common/fairMutex.h"

#if defined(OMBRIX_CHECK_LOCKS)
namespace {

struct Locks {
  FairMutex frame{LockRank::frame};
  Mutex colour{LockRank::colour}, otherColour{LockRank::colour}, ring{LockRank::ring}, unnamed;
};

TEST(LockOrderTest, EveryWayOfTakingAMutexOutOfOrderAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const struct {
    std::function<void(Locks&)> wrong;
    const char* line;
  } cases[] = {
      {[](Locks& l) { MutexLock a(l.ring), b(l.colour); }, "the colour mutex is taken while the ring mutex"},
      {[](Locks& l) {
         MutexLock a(l.colour);
         FairLock b(l.frame);
       },
       "the frame mutex is taken while the colour mutex"},
      {[](Locks& l) { MutexLock a(l.colour), b(l.otherColour); },
       "the colour mutex is taken while the colour"},
      {[](Locks& l) { MutexLock a(l.colour), b(l.unnamed), c(l.ring); },
       "the ring mutex is taken while the leaf"},
      {[](Locks& l) {
         MutexLock a(l.colour);
         a.unlock();
         MutexLock b(l.ring);
         a.lock();
       },
       "the colour mutex is taken while the ring mutex"},
      {[](Locks&) { const LockScope a(LockRank::ring), b(LockRank::frame); },
       "the frame mutex is taken while the ring"},
  };
  for (const auto& [wrong, line] : cases) {
    Locks locks;
    EXPECT_DEATH(wrong(locks), line);
  }
}

TEST(LockOrderTest, WhatWasReleasedDoesNotCount) {
  Locks locks;
  std::condition_variable_any changed;
  bool done = false;
  std::thread other;
  {
    FairLock frame(locks.frame);
    { MutexLock outOfTurn(locks.ring); }
    MutexLock colour(locks.colour);
    MutexLock ring(locks.ring);
    colour.unlock();  // not the last taken
    ring.unlock();
    colour.lock();
    colour.unlock();
    other = std::thread([&] {
      FairLock lock(locks.frame);  // each thread has its own
      done = true;
      changed.notify_all();
    });
    while (!done) changed.wait(frame);
  }
  { MutexLock again(locks.colour); }
  other.join();
}

}  // namespace
#endif
