#pragma once

#include <cstddef>
#include <new>

namespace ThreadPool {

/// Small blocks that are handed out again instead of going back to the heap: what std::promise and
/// std::future share. A future may outlive its pool, so the blocks belong to the process. Any thread.
void* takeSmallBlock(std::size_t bytes);
void giveSmallBlock(void* block, std::size_t bytes) noexcept;

/// Standard allocator over these blocks.
template <typename T>
struct RecyclingAllocator {
  using value_type = T;
  static_assert(alignof(T) <= alignof(std::max_align_t));

  RecyclingAllocator() = default;
  template <typename U>
  RecyclingAllocator(const RecyclingAllocator<U>&) {}

  T* allocate(std::size_t count) {
    if (count > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(takeSmallBlock(count * sizeof(T)));
  }
  void deallocate(T* block, std::size_t count) noexcept { giveSmallBlock(block, count * sizeof(T)); }

  template <typename U>
  bool operator==(const RecyclingAllocator<U>&) const {
    return true;
  }
};

}  // namespace ThreadPool
