#include "common/fairMutex.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>
#include <vector>

#include "support/waitFor.h"

namespace {

TEST(FairMutexTest, ServesInOrderOfArrival) {
  FairMutex mutex;
  std::vector<unsigned> order;
  std::vector<std::thread> threads;
  mutex.lock();
  for (unsigned i = 0; i < 6; ++i) {
    threads.emplace_back([&mutex, &order, i] {
      const FairLock lock(mutex);
      order.push_back(i);
    });
    EXPECT_TRUE(waitFor([&] { return mutex.waiting() == i + 1; }));
  }
  mutex.unlock();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(order, (std::vector<unsigned>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(mutex.waiting(), 0u);
}

TEST(FairMutexTest, AThreadThatLocksAgainAtOnceWaitsItsTurn) {
  FairMutex mutex;
  bool served = false;
  mutex.lock();
  std::thread waiter([&] {
    const FairLock lock(mutex);
    served = true;
  });
  EXPECT_TRUE(waitFor([&] { return mutex.waiting() == 1; }));
  mutex.unlock();
  mutex.lock();
  EXPECT_TRUE(served);
  mutex.unlock();
  waiter.join();
}

TEST(FairMutexTest, ExcludesAndWakesThroughAConditionVariable) {
  FairMutex mutex;
  std::condition_variable_any changed;
  int turn = 0;  // guarded by `mutex`, which the analysis cannot follow into lambdas
  constexpr int kRounds = 500;
  const auto play = [&](int parity) {
    FairLock lock(mutex);
    for (int round = 0; round < kRounds; ++round) {
      while (turn % 2 != parity) changed.wait(lock);
      ++turn;
      changed.notify_all();
    }
  };
  std::thread even(play, 0), odd(play, 1);
  even.join();
  odd.join();
  EXPECT_EQ(turn, 2 * kRounds);
}

}  // namespace
