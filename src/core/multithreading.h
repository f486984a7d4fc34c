#pragma once

#include <atomic>
#include <future>
#include <string_view>
#include <utility>

#include "core/ThreadPool.h"
#include "core/logger.h"

using WorkerPool = ThreadPool::ThreadPool<0, 0>;

/// A pool that any thread may look up while another one replaces it.
class PoolPointer {
 public:
  operator WorkerPool*() const { return pool.load(std::memory_order_acquire); }
  WorkerPool* operator->() const { return *this; }
  PoolPointer& operator=(WorkerPool* replacement) {
    pool.store(replacement, std::memory_order_release);
    return *this;
  }

 private:
  std::atomic<WorkerPool*> pool{nullptr};
};

/// The process-wide pools that `OmbrixSDK` creates; null before. Pools live to the end of the process.
/// `processingPool` runs leaf tasks only, which wait for nothing and enqueue nothing.
extern PoolPointer processingPool;
extern PoolPointer auxiliaryPool;

namespace multithreading {

/// What a finished task returns; never used beyond marking completion.
constexpr int kTaskDone = 42;

/// Makes a `processingPool` of `processingUnits` workers and an `auxiliaryPool` of max(processingUnits, 4)
/// the process-wide ones. Pools are never destroyed: they stay reachable in a list, so that no thread is
/// joined at static destruction and who still has an earlier pool may use it. One of the wanted size that was
/// made before serves again; without that every `OmbrixSDK` of a process would leave its threads behind.
void createPools(unsigned processingUnits);

namespace detail {
template <typename F>
std::future<int> start(WorkerPool* pool, F&& task) {
  if (!pool) return ThreadPool::runInline(std::forward<F>(task));
  return pool->enqueue(std::forward<F>(task));
}
}  // namespace detail

/// Enqueues `task` on `pool`. Without a pool the task runs inline, on the calling thread.
/// name: what the debug line says; nothing is formatted or allocated for it below the debug level.
template <typename F>
std::future<int> startWorkerThread(WorkerPool* pool, F&& task, std::string_view name) {
  logger::debug(name, LOG_HERE);
  return detail::start(pool, std::forward<F>(task));
}

/// ... without waking a worker, for a caller that goes on to run what is pending there.
template <typename F>
std::future<int> startTaskForCaller(WorkerPool* pool, F&& task, std::string_view name) {
  logger::debug(name, LOG_HERE);
  if (!pool) return ThreadPool::runInline(std::forward<F>(task));
  return pool->enqueueForCaller(std::forward<F>(task));
}

/// ... on `processingPool`: row bands and stripes of the image stages.
template <typename F>
std::future<int> startProcessingThread(F&& task, std::string_view name) {
  logger::debug(name, LOG_HERE);
  return detail::start(processingPool, std::forward<F>(task));
}

/// ... on `auxiliaryPool`: the Core worker. Without a pool nothing is started, since a worker's loop must not
/// run on its caller: one error line, and an empty future.
template <typename F>
std::future<int> startThread(F&& task, std::string_view name) {
  logger::debug(name, LOG_HERE);
  WorkerPool* const pool = auxiliaryPool;
  if (pool) return pool->enqueue(std::forward<F>(task));
  logger::error("There is no pool to start a thread on", LOG_HERE);
  return {};
}

/// Waits for the task and consumes its result; its exception, already reported by the pool, is swallowed.
/// An empty future logs "Thread is not joinable".
void waitThread(std::future<int>& future);

}  // namespace multithreading
