#pragma once

#include <future>
#include <memory>
#include <utility>

#include "core/TaskSlot.h"

/// Fixed sets of worker threads that run callables returning int and answer with a std::future<int>.
namespace ThreadPool {

/// Number of hardware threads, at least 1. Tests inject another; 0 restores the machine's.
unsigned hardwareThreads();
void setHardwareThreadsForTesting(unsigned count);

/// Number of workers of a pool that is asked for `count`: at least 1, at most the hardware threads.
unsigned workersFor(unsigned count);

template <int A, int B>
class ThreadPool;

/// The one instantiation in use.
template <>
class ThreadPool<0, 0> {
 public:
  /// Starts `workersFor(count)` workers. When the system refuses a thread the pool makes do with those it
  /// got; std::system_error when it got none.
  explicit ThreadPool(const unsigned& count);
  /// Stops and joins every worker; tasks still queued are abandoned (their futures report a broken promise).
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  /// Queues a callable returning int; any thread. An exception that it throws is printed on standard error
  /// and rethrown by the future. Allocates nothing in a steady state when the callable fits
  /// TaskSlot::kInlineBytes.
  template <typename F>
  std::future<int> enqueue(F&& task) {
    return push(TaskSlot(std::forward<F>(task)), true);
  }

  /// The same without waking a worker, for callers that go on to `runPending`: waking one costs more than a
  /// short task, and takes what the task works on to another core.
  template <typename F>
  std::future<int> enqueueForCaller(F&& task) {
    return push(TaskSlot(std::forward<F>(task)), false);
  }

  /// Runs queued tasks on the calling thread until the queue is empty; returns how many. Lets a thread that
  /// is about to wait for tasks of its own pool make progress even when no worker is idle.
  unsigned runPending();

  /// Number of workers started.
  unsigned size() const;

  /// Tries once more to start the workers that the system refused; those it refuses again stay missing.
  void startMissing();

 private:
  std::future<int> push(TaskSlot task, bool wakeWorker);

  struct Impl;
  std::unique_ptr<Impl> impl;
};

namespace detail {
std::future<int> runSlotInline(TaskSlot task);
}

/// Runs `task` on the calling thread, with the same treatment of exceptions as in a pool.
template <typename F>
std::future<int> runInline(F&& task) {
  return detail::runSlotInline(TaskSlot(std::forward<F>(task)));
}

}  // namespace ThreadPool
