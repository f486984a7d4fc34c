#include "support/allocationCounter.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#if OMBRIX_OWN_NEW

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

void* tryAllocate(std::size_t bytes, std::size_t alignment) noexcept {
  try {
    return allocate(bytes, alignment);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
}  // namespace

#if !OMBRIX_SANITIZED
std::uint64_t allocationCount() { return allocations.load(std::memory_order_relaxed); }
#endif

void failAllocation(std::uint64_t number) { untilFailure = number; }
bool allocationFailed() { return untilFailure == 0; }

// Every form there is: the address sanitizer brings its own of any that is left out, and then sees blocks
// freed by another than they came from.
using Alignment = std::align_val_t;
using Nothrow = std::nothrow_t;
void* operator new(std::size_t bytes) { return allocate(bytes, alignof(std::max_align_t)); }
void* operator new(std::size_t bytes, Alignment alignment) { return allocate(bytes, std::size_t(alignment)); }
void* operator new(std::size_t bytes, const Nothrow&) noexcept {
  return tryAllocate(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, Alignment alignment, const Nothrow&) noexcept {
  return tryAllocate(bytes, std::size_t(alignment));
}
void* operator new[](std::size_t bytes) { return ::operator new(bytes); }
void* operator new[](std::size_t bytes, Alignment alignment) { return ::operator new(bytes, alignment); }
void* operator new[](std::size_t bytes, const Nothrow& none) noexcept { return ::operator new(bytes, none); }
void* operator new[](std::size_t bytes, Alignment alignment, const Nothrow& none) noexcept {
  return ::operator new(bytes, alignment, none);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, Alignment) noexcept { std::free(block); }
void operator delete(void* block, std::size_t, Alignment) noexcept { std::free(block); }
void operator delete(void* block, const Nothrow&) noexcept { std::free(block); }
void operator delete(void* block, Alignment, const Nothrow&) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, Alignment) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t, Alignment) noexcept { std::free(block); }
void operator delete[](void* block, const Nothrow&) noexcept { std::free(block); }
void operator delete[](void* block, Alignment, const Nothrow&) noexcept { std::free(block); }

#endif
