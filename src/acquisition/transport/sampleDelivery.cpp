// The streaming members of UVCConnection: from the platform's sample to the acquisition's ring.

#include <algorithm>

#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "core/logger.h"

using transport::StepResult;

void UVCConnection::setAcqPointers(image<unsigned short>** buffers, int* writeIndex, std::mutex* mutex,
                                   std::atomic<unsigned long long>* frameCounter, int bufferCount,
                                   std::condition_variable* condition, bool* frameReady) {
  MutexLock lock(connectionMutex);
  ring = {buffers, writeIndex, mutex, frameCounter, bufferCount, condition, frameReady};
}

bool UVCConnection::startStreaming(WorkerPool*, int width, int height, int) {
  if (!device || width <= 0 || height <= 0) {
    logger::error(format("No stream of {:d}x{:d} to start", width, height), LOG_HERE);
    return false;
  }
  {
    MutexLock lock(connectionMutex);
    layout = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), typePitch};
  }
  sampleSeen = false;
  streaming = true;
  try {
    check(device->requestSample());
    return true;
  } catch (const transport::TransportError&) {
    endDelivery();
    return false;
  }
}

void UVCConnection::beginStop() {
  streaming = false;
  if (device) device->beginClose();
}

bool UVCConnection::stopStreaming() {
  const bool wasStreaming = streaming.exchange(false);
  Ring target;
  {
    // A sample in flight holds this mutex until it is in the ring.
    MutexLock lock(connectionMutex);
    target = ring;
  }
  if (wasStreaming && sampleSeen && !lost) waitForReadyFrame(target);
  endDelivery();
  return true;
}

void UVCConnection::waitForReadyFrame(const Ring& target) const {
  if (!target.mutex || !target.condition || !target.frameReady) return;
  const auto longest = std::min<std::chrono::microseconds>(2 * framePeriod, std::chrono::milliseconds(200));
  const auto deadline = std::chrono::steady_clock::now() + longest;
  const LockScope scope(LockRank::ring);
  std::unique_lock<std::mutex> lock(*target.mutex);
  while (!*target.frameReady) {
    if (target.condition->wait_until(lock, deadline) == std::cv_status::timeout) return;
  }
}

void UVCConnection::onSample(std::int32_t status, std::int64_t timestampUs, const transport::Sample* sample) {
  OnReadSample(status, 0, 0, timestampUs, sample);
}

std::int32_t UVCConnection::OnReadSample(std::int32_t status, std::uint32_t, std::uint32_t, std::int64_t,
                                         const transport::Sample* sample) {
  const bool failed = status < 0;
  {
    MutexLock lock(connectionMutex);
    if (!failed && streaming) {
      if (sample && takeSample(*sample)) {
        publish();
      } else {
        ++dropped;
      }
    }
  }
  if (failed) {
    deliveryFailed(status, "Sample delivery");
  } else if (streaming) {
    const StepResult requested = device->requestSample();
    showOperation(requested);
    if (requested.failed()) deliveryFailed(requested.status, "Asking for next sample");
  }
  return status;
}

/// Unpacks into the slot at the write index; false when the sample or the ring is not fit for it.
bool UVCConnection::takeSample(const transport::Sample& sample) {
  if (!ring.complete()) return false;
  const int slot = *ring.writeIndex;
  if (slot < 0 || slot >= ring.bufferCount) return false;
  image<unsigned short>* const target = ring.buffers[slot];
  if (!target || target->empty()) return false;

  float temperature = sensorTemperature.load();
  if (!transport::unpackSample(sample.bytes, layout, target->view(), temperature)) return false;
  sensorTemperature = temperature;
  return true;
}

void UVCConnection::publish() {
  {
    const LockScope scope(LockRank::ring);
    std::lock_guard<std::mutex> lock(*ring.mutex);
    ++*ring.writeIndex;
    ring.frameCounter->fetch_add(1);
    if (*ring.writeIndex >= ring.bufferCount) *ring.writeIndex = 0;
    *ring.frameReady = true;
  }
  // All, since a stopping thread may wait beside the consumer.
  ring.condition->notify_all();
  sampleSeen = true;
  if (arrivalSignal) arrivalSignal->notify();
}

void UVCConnection::deliveryFailed(std::int32_t status, const char* step) {
  // One line per loss, and none for what ending a stream brings about.
  const bool alreadyLost = lost.exchange(true);
  if (!alreadyLost && streaming) {
    logger::error(format("{:s} failed (error code {:d}), camera lost", step, status), LOG_HERE);
  }
  device->postFailure(status);
}
