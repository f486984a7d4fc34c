#include "acquisition/acquiringCount.h"

#include "common/mutex.h"

namespace acquiringCount {
namespace {

Mutex mutex{LockRank::acquiringCount};
int streamingCameras GUARDED_BY(mutex) = 0;
std::atomic<bool> ownFlag{false};
std::atomic<std::atomic<bool>*> sharedFlag{&ownFlag};

void publish() REQUIRES(mutex) { *sharedFlag.load() = streamingCameras > 0; }

}  // namespace

void setFlags(std::atomic<bool>* /*workerRunning: the Core's own business*/,
              std::atomic<bool>* acquiringFlag) {
  MutexLock lock(mutex);
  sharedFlag = acquiringFlag ? acquiringFlag : &ownFlag;
  publish();
}

void add() {
  MutexLock lock(mutex);
  ++streamingCameras;
  publish();
}

void remove() {
  MutexLock lock(mutex);
  --streamingCameras;
  publish();
}

bool acquiring() { return *sharedFlag.load(); }

}  // namespace acquiringCount
