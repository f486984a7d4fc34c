#include "core/multithreading.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "core/threadStart.h"
#include "support/LogCapture.h"

namespace {

class MultithreadingTest : public testing::Test {
 protected:
  ~MultithreadingTest() override {
    ThreadPool::setHardwareThreadsForTesting(0);
    processingPool = nullptr;
    auxiliaryPool = nullptr;
  }
  static std::thread::id here() { return std::this_thread::get_id(); }
};

TEST_F(MultithreadingTest, EveryHelperWritesItsOwnDebugLineAndRunsOnItsPool) {
  ThreadPool::setHardwareThreadsForTesting(8);
  multithreading::createPools(2);
  EXPECT_EQ(processingPool->size(), 2u);
  EXPECT_EQ(auxiliaryPool->size(), 4u);

  const LogCapture log;
  std::thread::id ran[3];
  auto worker = multithreading::startWorkerThread(
      processingPool, [&] { return ran[0] = here(), 1; }, "stripe 3");
  auto band = multithreading::startProcessingThread([&] { return ran[1] = here(), 2; }, "band 1");
  auto core = multithreading::startThread([&] { return ran[2] = here(), 3; }, "core worker");
  EXPECT_EQ(worker.get() + band.get() + core.get(), 6);
  for (const std::thread::id& each : ran) EXPECT_NE(each, here());
  EXPECT_EQ(log.count("<multithreading::startWorkerThread> stripe 3"), 1u);
  EXPECT_EQ(log.count("<multithreading::startProcessingThread> band 1"), 1u);
  EXPECT_EQ(log.count("<multithreading::startThread> core worker"), 1u);
  EXPECT_EQ(log.lines().size(), 3u);
}

TEST_F(MultithreadingTest, PoolsAreOfTheAskedSizeAndServeAgain) {
  ThreadPool::setHardwareThreadsForTesting(8);
  multithreading::createPools(6);
  EXPECT_EQ(processingPool->size(), 6u);
  EXPECT_EQ(auxiliaryPool->size(), 6u);
  WorkerPool* const earlier = auxiliaryPool;
  WorkerPool* const earlierProcessing = processingPool;
  EXPECT_NE(earlierProcessing, earlier) << "leaf tasks must not queue behind what waits for them";
  ThreadPool::setHardwareThreadsForTesting(1);
  multithreading::createPools(6);
  EXPECT_EQ(auxiliaryPool->size(), 1u);
  EXPECT_EQ(earlier->enqueue([] { return 4; }).get(), 4);  // replaced, not destroyed
  ThreadPool::setHardwareThreadsForTesting(8);
  multithreading::createPools(6);
  EXPECT_EQ(auxiliaryPool, earlier) << "no new threads";
  EXPECT_EQ(processingPool, earlierProcessing);
}

TEST_F(MultithreadingTest, APoolThatGotTooFewThreadsIsCompletedWhenItServesAgain) {
  static unsigned size = 8, asked = 0;
  ThreadPool::setHardwareThreadsForTesting(++size);  // of no earlier pool, however often this test runs
  asked = 0;
  threadStart::setHookForTesting([](const char*) {
    if (++asked == 3) throw std::runtime_error("no more threads");
  });
  multithreading::createPools(size);
  threadStart::setHookForTesting(nullptr);
  EXPECT_EQ(processingPool->size(), 2u);
  multithreading::createPools(size);
  EXPECT_EQ(processingPool->size(), size);
}

TEST_F(MultithreadingTest, WithoutAPoolTasksRunInline) {
  const LogCapture log(logger::verbosityErrors);
  std::thread::id ran;
  auto future =
      multithreading::startProcessingThread([&] { return ran = here(), multithreading::kTaskDone; }, "band");
  EXPECT_EQ(ran, here());
  EXPECT_EQ(future.get(), 42);

  testing::internal::CaptureStderr();
  auto failing =
      multithreading::startProcessingThread([]() -> int { throw std::runtime_error("no memory"); }, "band");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error in task: no memory\n");
  EXPECT_THROW(failing.get(), std::runtime_error);
  EXPECT_EQ(log.lines().size(), 0u);
  EXPECT_FALSE(multithreading::startThread([] { return 1; }, "a loop").valid()) << "would never come back";
  EXPECT_TRUE(log.contains("There is no pool to start a thread on"));
}

TEST_F(MultithreadingTest, WaitThreadConsumesTheFutureWhateverBecameOfItsTask) {
  const LogCapture log(logger::verbosityErrors);
  testing::internal::CaptureStderr();
  auto done = multithreading::startProcessingThread([] { return 42; }, "done");
  auto failed =
      multithreading::startProcessingThread([]() -> int { throw std::runtime_error("x"); }, "failed");
  auto broken = std::promise<int>().get_future();
  testing::internal::GetCapturedStderr();
  for (std::future<int>* future : {&done, &failed, &broken}) {
    EXPECT_NO_THROW(multithreading::waitThread(*future));
    EXPECT_FALSE(future->valid());
  }
  EXPECT_EQ(log.lines().size(), 0u);
  multithreading::waitThread(done);
  EXPECT_EQ(log.lines(), std::vector<std::string>{" ● Thread is not joinable"});
}

}  // namespace
