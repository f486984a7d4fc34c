#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace ThreadPool {

/// A move-only callable returning int, kept without allocation when it fits the slot and moves without
/// throwing; a larger one is kept on the heap.
class TaskSlot {
 public:
  static constexpr std::size_t kInlineBytes = 112;
  static constexpr std::size_t kAlignment = alignof(std::max_align_t);

  template <typename F, typename Callable = std::decay_t<F>>
  // The constraint leaves copies and moves to their own constructors.
  // NOLINTNEXTLINE(bugprone-forwarding-reference-overload)
  requires(!std::is_same_v<Callable, TaskSlot>) explicit TaskSlot(F&& task) {
    static_assert(std::is_invocable_r_v<int, Callable&>, "a task takes no argument and returns an int");
    if constexpr (fits<Callable>()) {
      ::new (static_cast<void*>(storage)) Callable(std::forward<F>(task));
      actions = &kActions<Callable>;
    } else {
      using Boxed = Box<Callable>;
      ::new (static_cast<void*>(storage)) Boxed{std::make_unique<Callable>(std::forward<F>(task))};
      actions = &kActions<Boxed>;
    }
  }
  TaskSlot(TaskSlot&& other) noexcept { take(other); }
  TaskSlot& operator=(TaskSlot&& other) noexcept {
    if (this == &other) return *this;
    reset();
    take(other);
    return *this;
  }
  ~TaskSlot() { reset(); }

  /// Calls the task; it must be there.
  int operator()() { return actions->run(storage); }

  /// Destroys the task and what it captured.
  void reset() noexcept {
    if (actions) actions->destroy(storage);
    actions = nullptr;
  }

 private:
  struct Actions {
    int (*run)(void* task);
    void (*moveTo)(void* from, void* to) noexcept;  ///< leaves nothing behind in `from`
    void (*destroy)(void* task) noexcept;
  };

  template <typename Callable>
  struct Box {
    std::unique_ptr<Callable> task;
    int operator()() { return (*task)(); }
  };

  template <typename Callable>
  static constexpr bool fits() {
    constexpr bool small = sizeof(Callable) <= kInlineBytes;
    constexpr bool aligned = alignof(Callable) <= kAlignment;
    return small && aligned && std::is_nothrow_move_constructible_v<Callable>;
  }

  template <typename Callable>
  static constexpr Actions kActions = {
      [](void* task) -> int { return (*static_cast<Callable*>(task))(); },
      [](void* from, void* to) noexcept {
        ::new (to) Callable(std::move(*static_cast<Callable*>(from)));
        static_cast<Callable*>(from)->~Callable();
      },
      [](void* task) noexcept { static_cast<Callable*>(task)->~Callable(); }};

  void take(TaskSlot& other) noexcept {
    actions = std::exchange(other.actions, nullptr);
    if (actions) actions->moveTo(other.storage, storage);
  }

  alignas(kAlignment) std::byte storage[kInlineBytes];
  const Actions* actions = nullptr;
};

}  // namespace ThreadPool
