#include "core/multithreading.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "common/mutex.h"

PoolPointer processingPool;
PoolPointer auxiliaryPool;

namespace {
struct PoolList {
  Mutex mutex{LockRank::pools};
  std::vector<std::unique_ptr<WorkerPool>> pools GUARDED_BY(mutex);
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
  auto processing = std::make_unique<WorkerPool>(processingUnits);
  auto auxiliary = std::make_unique<WorkerPool>(std::max(processingUnits, kLeastAuxiliaryWorkers));

  PoolList& list = everyPool();
  MutexLock lock(list.mutex);
  list.pools.reserve(list.pools.size() + 2);
  processingPool = processing.get();
  auxiliaryPool = auxiliary.get();
  list.pools.push_back(std::move(processing));
  list.pools.push_back(std::move(auxiliary));
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
