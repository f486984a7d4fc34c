#include "acquisition/FrameRing.h"

void FrameRing::allocate(std::uint16_t width, std::uint16_t height) {
  MutexLock lock(mutex);
  for (int i = 0; i < kSlots; ++i) {
    slots[static_cast<std::size_t>(i)].allocate(width, height);
    slotPointers[static_cast<std::size_t>(i)] = &slots[static_cast<std::size_t>(i)];
  }
  present = true;
  writeIndex = 0;
  emptiedFrame = kNoFrame;
  frameReady = false;
  temperatureReady = false;
  triggerRequested = false;
  frameCounter = 0;
}

void FrameRing::release() {
  MutexLock lock(mutex);
  for (auto& slot : slots) slot.release();
  present = false;
  frameReady = true;
  condition.notify_all();
}

void FrameRing::wakeAll(bool temperatureToo) {
  MutexLock lock(mutex);
  frameReady = true;
  if (temperatureToo) temperatureReady = true;
  condition.notify_all();
}
