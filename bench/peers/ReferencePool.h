#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace bench {

/// A thread pool as one writes it: packaged tasks in a queue behind a mutex and a condition. What the
/// library's own is measured against.
class ReferencePool {
 public:
  explicit ReferencePool(unsigned workers) {
    for (unsigned i = 0; i < workers; ++i) threads.emplace_back([this] { workerThreadProc(); });
  }
  ~ReferencePool() {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      stopping = true;
    }
    available.notify_all();
    for (std::thread& thread : threads) thread.join();
  }
  ReferencePool(const ReferencePool&) = delete;
  ReferencePool& operator=(const ReferencePool&) = delete;

  template <typename F>
  std::future<int> enqueue(F&& function) {
    auto task = std::make_shared<std::packaged_task<int()>>(std::forward<F>(function));
    std::future<int> result = task->get_future();
    {
      const std::lock_guard<std::mutex> lock(mutex);
      queue.emplace_back([task] { (*task)(); });
    }
    available.notify_one();
    return result;
  }

 private:
  void workerThreadProc() {
    for (;;) {
      std::unique_lock<std::mutex> lock(mutex);
      available.wait(lock, [this] { return stopping || !queue.empty(); });
      if (stopping) return;
      const std::function<void()> task = std::move(queue.front());
      queue.pop_front();
      lock.unlock();
      task();
    }
  }

  std::mutex mutex;
  std::condition_variable available;
  std::deque<std::function<void()>> queue;
  bool stopping = false;
  std::vector<std::thread> threads;
};

}  // namespace bench
