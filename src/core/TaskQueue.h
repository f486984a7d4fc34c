#pragma once

#include <cstddef>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "core/RecyclingAllocator.h"
#include "core/TaskSlot.h"

namespace ThreadPool {

/// A task together with the promise it fulfils.
class PromisedTask {
 public:
  explicit PromisedTask(TaskSlot task)
      : slot(std::move(task)), result(std::allocator_arg, RecyclingAllocator<int>()) {}

  std::future<int> future() { return result.get_future(); }

  /// Runs the task and fulfils the promise. An exception is printed on standard error and passed on through
  /// the future. What the task captured is gone before a waiter goes on.
  void run() noexcept;

 private:
  TaskSlot slot;
  std::promise<int> result;
};

/// First in, first out; a ring that grows when full and never shrinks, so that a steady load allocates
/// nothing.
class TaskQueue {
 public:
  bool empty() const { return count == 0; }

  void push(PromisedTask task) {
    if (count == ring.size()) grow();
    ring[(first + count) % ring.size()].emplace(std::move(task));
    ++count;
  }

  /// The oldest task; the queue must not be empty.
  PromisedTask pop() {
    std::optional<PromisedTask>& oldest = ring[first];
    PromisedTask task = std::move(*oldest);
    oldest.reset();
    first = (first + 1) % ring.size();
    --count;
    return task;
  }

 private:
  void grow() {
    constexpr std::size_t kFirstSize = 16;
    std::vector<std::optional<PromisedTask>> larger(ring.empty() ? kFirstSize : 2 * ring.size());
    for (std::size_t i = 0; i < count; ++i) larger[i] = std::move(ring[(first + i) % ring.size()]);
    ring.swap(larger);
    first = 0;
  }

  std::vector<std::optional<PromisedTask>> ring;
  std::size_t first = 0;
  std::size_t count = 0;
};

}  // namespace ThreadPool
