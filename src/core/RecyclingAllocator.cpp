#include "core/RecyclingAllocator.h"

#include "common/mutex.h"

namespace ThreadPool {
namespace {

constexpr std::size_t kBlockBytes = 128;  // a future's state and its result object are below this

struct FreeBlock {
  FreeBlock* next;
};

struct FreeList {
  Mutex mutex{LockRank::memory};
  FreeBlock* first GUARDED_BY(mutex) = nullptr;
};

// Leaked on purpose: workers of abandoned pools may finish tasks during static destruction.
FreeList& freeBlocks() {
  static FreeList* const list = new FreeList;
  return *list;
}

}  // namespace

void* takeSmallBlock(std::size_t bytes) {
  if (bytes > kBlockBytes) return ::operator new(bytes);
  FreeList& list = freeBlocks();
  {
    MutexLock lock(list.mutex);
    if (FreeBlock* const block = list.first) {
      list.first = block->next;
      return block;
    }
  }
  return ::operator new(kBlockBytes);
}

void giveSmallBlock(void* block, std::size_t bytes) noexcept {
  if (bytes > kBlockBytes) {
    ::operator delete(block);
    return;
  }
  FreeList& list = freeBlocks();
  MutexLock lock(list.mutex);
  list.first = ::new (block) FreeBlock{list.first};
}

}  // namespace ThreadPool
