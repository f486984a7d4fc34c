#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>

#include "common/image.h"
#include "common/mutex.h"

/// The ring of raw frames between the transport (one producer) and the processing task (one consumer).
/// The producer writes into slot `writeIndex` without the mutex, and takes it for the step to the next slot.
struct FrameRing {
  static constexpr int kSlots = 4;
  static constexpr unsigned long long kNoFrame = ~0ull;

  /// Allocates zero-filled slots and resets index, flags and counter. Before the producer starts.
  void allocate(std::uint16_t width, std::uint16_t height) EXCLUDES(mutex);
  /// Frees the slots and wakes the consumer. Only after the producer has been joined.
  void release() EXCLUDES(mutex);
  /// Sets `frameReady` (and `temperatureReady` when `temperatureToo`) and wakes everyone.
  void wakeAll(bool temperatureToo) EXCLUDES(mutex);

  /// True when a frame may be handed out: a new one is there and, where pairing asks for it, a new
  /// temperature or a software trigger.
  bool deliverable(bool paired) const REQUIRES(mutex) {
    return frameReady && (!paired || temperatureReady || triggerRequested);
  }
  /// The slot that a delivery hands out now. Index 1 deliberately gives slot 3, one older than the newest.
  int readSlot() const REQUIRES(mutex) { return writeIndex - 1 > 0 ? writeIndex - 1 : kSlots - 1; }
  /// True when the next frame's delivery hands out the same slot once more.
  bool deliveredAgain() const REQUIRES(mutex) { return writeIndex == 0; }
  /// Slots fill in order from 0, so the counter tells which have been written since `allocate`.
  bool everFilled(int slot) const { return frameCounter.load() > static_cast<unsigned long long>(slot); }

  Mutex mutex{LockRank::ring};
  std::condition_variable condition;
  std::array<image<unsigned short>, kSlots> slots;
  std::array<image<unsigned short>*, kSlots> slotPointers{};  ///< what the transport is handed
  bool present GUARDED_BY(mutex) = false;
  int writeIndex GUARDED_BY(mutex) = 0;  ///< slot the next sample fills
  /// The frame whose pixels a delivery took away; waking up again for it brings nothing.
  unsigned long long emptiedFrame GUARDED_BY(mutex) = kNoFrame;
  bool frameReady GUARDED_BY(mutex) = false;
  bool temperatureReady GUARDED_BY(mutex) = false;
  bool triggerRequested GUARDED_BY(mutex) = false;
  std::atomic<unsigned long long> frameCounter{0};  ///< samples delivered since `allocate`
};
