#pragma once

#include <functional>
#include <future>
#include <memory>

/// Fixed sets of worker threads that run callables returning int and answer with a std::future<int>.
namespace ThreadPool {

/// Number of hardware threads, at least 1. Tests inject another; 0 restores the machine's.
unsigned hardwareThreads();
void setHardwareThreadsForTesting(unsigned count);

template <int A, int B>
class ThreadPool;

/// The one instantiation in use.
template <>
class ThreadPool<0, 0> {
 public:
  /// Starts min(count, hardware threads) workers; a count of 0 starts 1.
  explicit ThreadPool(const unsigned& count);
  /// Stops and joins every worker; tasks still queued are abandoned (their futures report a broken promise).
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  template <typename F>
  std::future<int> enqueue(F&& task) {
    return push(std::function<int()>(std::forward<F>(task)));
  }

  /// Runs queued tasks on the calling thread until the queue is empty; returns how many. Lets a thread that
  /// is about to wait for tasks of its own pool make progress even when no worker is idle.
  unsigned runPending();

  /// Number of workers started.
  unsigned size() const;

 private:
  std::future<int> push(std::function<int()> task);

  struct Impl;
  std::unique_ptr<Impl> impl;
};

}  // namespace ThreadPool
