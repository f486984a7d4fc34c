#include "common/fairMutex.h"

void FairMutex::lock() {
  place.enter();
  MutexLock queue(queueMutex);
  if (!taken) {
    taken = true;
    return;
  }
  Waiter self;
  (last ? last->next : first) = &self;
  last = &self;
  while (!self.served) self.turn.wait(queue.native());
}

void FairMutex::unlock() {
  place.leave();
  MutexLock queue(queueMutex);
  Waiter* const next = first;
  if (!next) {
    taken = false;
    return;
  }
  first = next->next;
  if (!first) last = nullptr;
  next->served = true;  // `taken` stays set: ownership passes on
  // Under the queue mutex, since the waiter and its condition live on the woken thread's stack.
  next->turn.notify_one();
}

unsigned FairMutex::waiting() const {
  MutexLock queue(queueMutex);
  unsigned count = 0;
  for (const Waiter* each = first; each; each = each->next) ++count;
  return count;
}
