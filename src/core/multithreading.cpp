#include "core/multithreading.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "common/mutex.h"

PoolPointer processingPool;
PoolPointer auxiliaryPool;

namespace {
/// The pools of one kind, one for each number of workers that was ever asked for.
class PoolShelf {
 public:
  /// The pool of `workersFor(count)` workers; made when there is none yet.
  WorkerPool* take(unsigned count) {
    const unsigned workers = ThreadPool::workersFor(count);
    for (const Entry& entry : entries) {
      if (entry.workers != workers) continue;
      entry.pool->startMissing();
      return entry.pool.get();
    }
    entries.push_back({workers, std::make_unique<WorkerPool>(count)});
    return entries.back().pool.get();
  }

 private:
  struct Entry {
    unsigned workers;
    std::unique_ptr<WorkerPool> pool;
  };
  std::vector<Entry> entries;
};

struct PoolList {
  Mutex mutex{LockRank::pools};
  PoolShelf processing GUARDED_BY(mutex);
  PoolShelf auxiliary GUARDED_BY(mutex);
};

// Leaked on purpose: joining workers at static destruction would wait for cameras nobody closed.
PoolList& everyPool() {
  static PoolList* const list = new PoolList;
  return *list;
}
}  // namespace

namespace multithreading {

void createPools(unsigned processingUnits) {
  constexpr unsigned kLeastAuxiliaryWorkers = 4;
  PoolList& list = everyPool();
  MutexLock lock(list.mutex);
  WorkerPool* const processing = list.processing.take(processingUnits);
  WorkerPool* const auxiliary = list.auxiliary.take(std::max(processingUnits, kLeastAuxiliaryWorkers));
  processingPool = processing;
  auxiliaryPool = auxiliary;
}

void waitThread(std::future<int>& future) {
  if (!future.valid()) {
    logger::error("Thread is not joinable", LOG_HERE);
    return;
  }
  try {
    future.get();
  } catch (...) {  // the pool has printed it, or was destroyed before the task's turn came
  }
}

}  // namespace multithreading
