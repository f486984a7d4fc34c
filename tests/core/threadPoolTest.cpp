#include "core/ThreadPool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

#include "core/RecyclingAllocator.h"
#include "core/multithreading.h"
#include "support/LogCapture.h"
#include "support/allocationCounter.h"
#include "support/waitFor.h"

namespace {

const unsigned kWithoutInjection = ThreadPool::hardwareThreads();  // before any test

struct InjectedHardwareThreads {
  explicit InjectedHardwareThreads(unsigned count) { ThreadPool::setHardwareThreadsForTesting(count); }
  ~InjectedHardwareThreads() { ThreadPool::setHardwareThreadsForTesting(0); }
};

/// Keeps workers busy until it is opened.
class Gate {
 public:
  std::future<int> block(WorkerPool& pool) {
    auto started = std::make_shared<std::promise<void>>();
    std::future<int> future = pool.enqueue([this, started] {
      started->set_value();
      opened.get_future().wait();
      return 0;
    });
    started->get_future().wait();
    return future;
  }
  void open() { opened.set_value(); }

 private:
  std::promise<void> opened;
};

TEST(ThreadPoolTest, StartsNoMoreWorkersThanTheHardwareHasAndAtLeastOne) {
  struct Case {
    unsigned hardware, asked, started;
  };
  for (const Case& c : {Case{8, 16, 8}, {8, 0, 1}, {8, 3, 3}, {2, 4, 2}, {1, 4, 1}, {1, 0, 1}}) {
    const InjectedHardwareThreads injected(c.hardware);
    const WorkerPool pool(c.asked);
    EXPECT_EQ(pool.size(), c.started) << c.asked << " of " << c.hardware;
  }
  EXPECT_EQ(kWithoutInjection, std::max(1u, std::thread::hardware_concurrency()));
}

TEST(ThreadPoolTest, ServesEveryTaskOnceInOrderAcrossGrowthOfTheQueue) {
  WorkerPool pool(1);
  Gate gate;
  std::future<int> blocked = gate.block(pool);
  std::vector<int> order;
  std::vector<std::future<int>> futures;
  for (int i = 0; i < 100; ++i)
    futures.push_back(pool.enqueue([&order, i] {
      order.push_back(i);
      return i;
    }));
  gate.open();
  blocked.wait();
  for (int i = 0; i < 100; ++i) EXPECT_EQ(futures[static_cast<std::size_t>(i)].get(), i);
  std::vector<int> expected(100);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(order, expected);
}

TEST(ThreadPoolTest, ManyProducersLoseNothing) {
  const InjectedHardwareThreads injected(8);
  WorkerPool pool(8);
  std::atomic<int> sum{0};
  std::vector<std::thread> producers;
  for (int t = 0; t < 4; ++t)
    producers.emplace_back([&] {
      for (int i = 1; i <= 200; ++i) {
        auto future = pool.enqueue([&sum, i] { return sum.fetch_add(i); });
        if (i % 2) multithreading::waitThread(future);
      }
      auto last = pool.enqueue([] { return 0; });
      last.wait();
    });
  for (std::thread& producer : producers) producer.join();
  EXPECT_TRUE(waitFor([&] { return sum == 4 * 200 * 201 / 2; }));
}

TEST(ThreadPoolTest, ReportsExceptionsAndGoesOn) {
  WorkerPool pool(1);
  testing::internal::CaptureStderr();
  auto named = pool.enqueue([]() -> int { throw std::runtime_error("table is gone"); });
  auto nameless = pool.enqueue([]() -> int { throw 5; });
  EXPECT_THROW(named.get(), std::runtime_error);
  EXPECT_THROW(nameless.get(), int);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Error in task: table is gone\nError in task: Unknown error\n");
  EXPECT_EQ(pool.enqueue([] { return 7; }).get(), 7);
}

TEST(ThreadPoolTest, TakesMoveOnlyAndLargeCallables) {
  WorkerPool pool(2);
  auto owned = std::make_unique<int>(11);
  EXPECT_EQ(pool.enqueue([owned = std::move(owned)] { return *owned; }).get(), 11);
  std::array<int, 100> large{};
  large.back() = 13;
  EXPECT_EQ(pool.enqueue([large] { return large.back(); }).get(), 13);
}

TEST(ThreadPoolTest, WhatATaskCapturedIsGoneBeforeItsWaiterGoesOn) {
  WorkerPool pool(1);
  testing::internal::CaptureStderr();
  for (int i = 0; i < 400; ++i) {
    auto captured = std::make_shared<int>(i);
    const std::weak_ptr<int> watch = captured;
    auto future =
        pool.enqueue([captured = std::move(captured)] { return *captured % 2 == 0 ? *captured : throw 5; });
    future.wait();
    EXPECT_TRUE(watch.expired()) << i;
  }
  testing::internal::GetCapturedStderr();
}

TEST(ThreadPoolTest, DestructionAbandonsWhatIsQueuedAndItsFuturesOutliveThePool) {
  // Whether the stop comes before the worker is free again cannot be seen from outside, so several pools are
  // tried.
  const auto abandonsQueuedTask = [] {
    auto pool = std::make_unique<WorkerPool>(1);
    Gate gate;
    std::future<int> running = gate.block(*pool);
    std::future<int> queued = pool->enqueue([] { return 1; });
    std::promise<void> destroying;
    std::thread destroyer([&] {
      destroying.set_value();
      pool.reset();
    });
    destroying.get_future().wait();
    std::this_thread::yield();
    gate.open();
    destroyer.join();
    EXPECT_EQ(running.get(), 0);
    try {
      EXPECT_EQ(queued.get(), 1);
    } catch (const std::future_error& error) {
      return error.code() == std::future_errc::broken_promise;
    }
    return false;
  };
  EXPECT_TRUE(waitFor(abandonsQueuedTask));
}

TEST(ThreadPoolTest, RunPendingServesTheQueueWhileEveryWorkerIsBusy) {
  const InjectedHardwareThreads injected(1);
  WorkerPool pool(4);
  Gate gate;
  std::future<int> blocked = gate.block(pool);
  int served = 0;
  std::vector<std::future<int>> futures;
  for (int i = 0; i < 3; ++i)
    futures.push_back(pool.enqueue([&] { return served += static_cast<int>(pool.size()); }));
  EXPECT_EQ(pool.runPending(), 3u) << "its tasks may ask the pool for something";
  EXPECT_EQ(served, 3);
  EXPECT_EQ(futures.back().get(), 3);
  EXPECT_EQ(pool.runPending(), 0u);
  gate.open();
  blocked.wait();
}

TEST(ThreadPoolTest, NoBlockHasTwoOwners) {
  ThreadPool::RecyclingAllocator<char> allocator;
  constexpr std::size_t kLarge = 200;
  allocator.deallocate(std::fill_n(allocator.allocate(kLarge), kLarge, '\1') - kLarge, kLarge);
  char* const small = allocator.allocate(1);
  char* const large = static_cast<char*>(::operator new(kLarge));  // the heap hands out what it got back last
  EXPECT_NE(small, large);
  allocator.deallocate(small, 1);
  EXPECT_EQ(allocator.allocate(1), small);
  allocator.deallocate(small, 1);
  ::operator delete(large);
}

#if !OMBRIX_SANITIZED
TEST(ThreadPoolTest, ASteadyLoadAllocatesNothing) {
  const LogCapture log(logger::verbosityInfo);
  WorkerPool pool(2);
  std::array<std::uint64_t, 8> captured{};  // about what a band task carries
  std::array<std::future<int>, 4> futures;
  const auto cycle = [&] {
    for (auto& future : futures)
      future = multithreading::startWorkerThread(
          &pool, [captured] { return static_cast<int>(captured.size()); }, "band");
    for (auto& future : futures) multithreading::waitThread(future);
  };
  for (int i = 0; i < 50; ++i) cycle();
  const std::uint64_t before = allocationCount();
  for (int i = 0; i < 1000; ++i) cycle();
  // A worker may still hold its last task when the next cycle starts; that many more blocks come into being
  // once, whenever it first happens.
  EXPECT_LE(allocationCount() - before, 2u * pool.size());
}
#endif

}  // namespace
