#include "support/allocationCounter.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::uint64_t> allocations{0};
thread_local std::uint64_t untilFailure = 0;  // allocations until the one that fails, itself included

void* allocate(std::size_t bytes, std::size_t alignment) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (untilFailure > 0 && --untilFailure == 0) throw std::bad_alloc();
  const std::size_t whole = bytes ? (bytes + alignment - 1) / alignment * alignment : alignment;
  void* const block =
      alignment > alignof(std::max_align_t) ? std::aligned_alloc(alignment, whole) : std::malloc(whole);
  if (!block) throw std::bad_alloc();
  return block;
}
}  // namespace

#if !OMBRIX_SANITIZED
std::uint64_t allocationCount() { return allocations.load(std::memory_order_relaxed); }
#endif

void failAllocation(std::uint64_t number) { untilFailure = number; }
bool allocationFailed() { return untilFailure == 0; }

// The standard library's array and nothrow forms come down to these; the sanitizers bring forms of their own,
// which must not give what these take back.
void* operator new[](std::size_t bytes) { return operator new(bytes); }
void* operator new[](std::size_t bytes, std::align_val_t alignment) { return operator new(bytes, alignment); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return operator new(bytes);
  } catch (...) {
    return nullptr;
  }
}
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void* operator new(std::size_t bytes) { return allocate(bytes, alignof(std::max_align_t)); }
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return allocate(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
