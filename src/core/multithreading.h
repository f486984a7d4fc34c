#pragma once

#include <cstdint>
#include <future>
#include <string_view>
#include <utility>

#include "core/ThreadPool.h"
#include "core/logger.h"

using WorkerPool = ThreadPool::ThreadPool<0, 0>;

/// The process-wide pools that `OmbrixSDK` creates; null before. Pools live to the end of the process.
/// `processingPool` runs leaf tasks only, which wait for nothing and enqueue nothing.
extern WorkerPool* processingPool;
extern WorkerPool* auxiliaryPool;

namespace multithreading {

/// What a finished task returns; never used beyond marking completion.
constexpr int kTaskDone = 42;

/// Makes `count`-worker pools the process-wide ones. Earlier pools are abandoned, never destroyed: they stay
/// reachable in a list, so that no thread is joined at static destruction.
void createPools(unsigned processingUnits);

namespace detail {
void logStart(std::string_view function, std::string_view name, const LogContext& context);
}

/// Enqueues `task` on `pool`. Without a pool the task runs inline, on the calling thread.
template <typename F>
std::future<int> startWorkerThread(WorkerPool* pool, F&& task, std::string_view name);
/// ... on `processingPool`: row bands and stripes of the image stages.
template <typename F>
std::future<int> startProcessingThread(F&& task, std::string_view name);
/// ... on `auxiliaryPool`: the Core worker.
template <typename F>
std::future<int> startThread(F&& task, std::string_view name);

/// Waits for the task and consumes its result; its exception, already reported by the pool, is swallowed.
/// An empty future logs "Thread is not joinable".
void waitThread(std::future<int>& future);

}  // namespace multithreading
