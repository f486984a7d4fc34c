#include "core/ThreadPool.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

#include "common/mutex.h"
#include "core/TaskQueue.h"
#include "core/threadStart.h"

namespace ThreadPool {
namespace {

std::atomic<unsigned> injectedHardwareThreads{0};

int runReporting(TaskSlot& task) {
  try {
    return task();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "Error in task: %s\n", failure.what());
    throw;
  } catch (...) {
    std::fputs("Error in task: Unknown error\n", stderr);
    throw;
  }
}

}  // namespace

unsigned hardwareThreads() {
  const unsigned injected = injectedHardwareThreads.load(std::memory_order_relaxed);
  return std::max(1u, injected ? injected : std::thread::hardware_concurrency());
}

void setHardwareThreadsForTesting(unsigned count) { injectedHardwareThreads = count; }

unsigned workersFor(unsigned count) { return std::clamp(count, 1u, hardwareThreads()); }

void PromisedTask::run() noexcept {
  try {
    const int value = runReporting(slot);
    slot.reset();
    result.set_value(value);
  } catch (...) {
    slot.reset();
    result.set_exception(std::current_exception());
  }
}

struct ThreadPool<0, 0>::Impl {
  const unsigned wanted;
  mutable Mutex queueMutex{LockRank::taskQueue};
  std::vector<std::thread> threads GUARDED_BY(queueMutex);
  std::condition_variable workAvailable;
  TaskQueue queue GUARDED_BY(queueMutex);
  bool stopRequested GUARDED_BY(queueMutex) = false;

  explicit Impl(unsigned workers) : wanted(workers) {}

  void workerThreadProc() {
    while (true) {
      MutexLock lock(queueMutex);
      while (!stopRequested && queue.empty()) workAvailable.wait(lock.native());
      if (stopRequested) return;
      PromisedTask task = queue.pop();
      lock.unlock();
      task.run();
    }
  }

  void start() {
    MutexLock lock(queueMutex);
    threads.reserve(wanted);
    try {
      while (threads.size() < wanted)
        threads.push_back(threadStart::start("worker", [this] { workerThreadProc(); }));
    } catch (...) {  // the system refuses another thread: the pool makes do with those it has
      if (threads.empty()) throw;
    }
  }
};

ThreadPool<0, 0>::ThreadPool(const unsigned& count) : impl(std::make_unique<Impl>(workersFor(count))) {
  impl->start();
}

ThreadPool<0, 0>::~ThreadPool() {
  {
    // Set under the mutex: a worker between its test and its wait would miss the notification.
    MutexLock lock(impl->queueMutex);
    impl->stopRequested = true;
  }
  impl->workAvailable.notify_all();
  for (std::thread& thread : impl->threads) thread.join();
}

std::future<int> ThreadPool<0, 0>::push(TaskSlot task, bool wakeWorker) {
  PromisedTask promised(std::move(task));
  std::future<int> future = promised.future();
  MutexLock lock(impl->queueMutex);
  impl->queue.push(std::move(promised));
  // Under the mutex: the task may end, and let its owner destroy the pool, before a later call here returns.
  if (wakeWorker) impl->workAvailable.notify_one();
  return future;
}

unsigned ThreadPool<0, 0>::runPending() {
  for (unsigned done = 0;; ++done) {
    MutexLock lock(impl->queueMutex);
    if (impl->queue.empty()) return done;
    PromisedTask task = impl->queue.pop();
    lock.unlock();
    task.run();
  }
}

unsigned ThreadPool<0, 0>::size() const {
  MutexLock lock(impl->queueMutex);
  return static_cast<unsigned>(impl->threads.size());
}

void ThreadPool<0, 0>::startMissing() { impl->start(); }

std::future<int> detail::runSlotInline(TaskSlot task) {
  PromisedTask promised(std::move(task));
  std::future<int> future = promised.future();
  promised.run();
  return future;
}

}  // namespace ThreadPool
