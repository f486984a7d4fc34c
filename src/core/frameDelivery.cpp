#include "core/frameDelivery.h"

#include <chrono>
#include <cstring>

#include "acquisition/imageAcquisition.h"
#include "common/format.h"

namespace {

PublishedFrame& frameOf(imageAcquisition& camera, FrameKind kind) REQUIRES(frameMutex) {
  return kind == FrameKind::thermal ? camera.rawFrame : camera.colorFrame;
}

/// Waits for the ready flag; false when the deadline passed first.
bool waitReady(imageAcquisition& camera, const PublishedFrame& frame, int timeoutMs, FairLock& lock)
    REQUIRES(frameMutex) {
  if (timeoutMs < 0) {
    while (!frame.ready) camera.frameCondition.wait(lock);
    return true;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (!frame.ready) {
    if (timeoutMs == 0) return false;
    if (camera.frameCondition.wait_until(lock, deadline) == std::cv_status::timeout) return frame.ready;
  }
  return true;
}

/// A smaller number than the last one means that the stream was started anew: it counts from 0.
std::uint64_t framesBetween(std::uint64_t last, std::uint64_t current) {
  return current < last ? current : current - last;
}

void fillMetadata(const imageAcquisition& camera, const PublishedFrame& frame, std::uint64_t& lastNumber,
                  Ombrix::metadata& md) {
  md.sensorTemperature = camera.device.sensorTemperatureK;
  md.serialNumber = camera.device.serialNumber;
  md.frameNumber = frame.frameNumber;
  md.framesSinceLastCall = framesBetween(lastNumber, frame.frameNumber);
  lastNumber = frame.frameNumber;
  if (md.histogramBuffer) {
    std::memcpy(md.histogramBuffer, frame.histogram.data(), frame.histogram.size() * sizeof(std::uint32_t));
  }
}

template <typename T>
void copyPixels(const image<T>& picture, std::uint8_t* buffer) {
  if (buffer && !picture.empty()) std::memcpy(buffer, picture.data, picture.sizeBytes);
}

void logTimeout(FrameKind kind, int timeoutMs, int handle, const LogContext& context) {
  const char* const plural = timeoutMs >= 2 ? "s" : "";
  if (kind == FrameKind::thermal) {
    logger::error(format("Thermal frame not available within {:d} millisecond{:s}. Handle: {:d}", timeoutMs,
                         plural, handle),
                  context);
  } else {
    logger::error(format("Color frame not available within {:d} millisecond{:s}. Handle: {:d}", timeoutMs,
                         plural, handle),
                  context);
  }
}

}  // namespace

bool deliverFrame(imageAcquisition& camera, FrameKind kind, std::uint8_t* buffer, Ombrix::metadata* md,
                  int timeoutMs, std::uint64_t& lastNumber, int handle, const LogContext& context) {
  {
    FairLock lock(frameMutex);
    PublishedFrame& frame = frameOf(camera, kind);
    if (waitReady(camera, frame, timeoutMs, lock)) {
      if (frame.counter == 0) return false;  // woken by clean-up before the first frame
      if (md) fillMetadata(camera, frame, lastNumber, *md);
      if (kind == FrameKind::thermal) {
        copyPixels(camera.processing.correctedCopy, buffer);
      } else {
        copyPixels(camera.processing.colorImage, buffer);
      }
      frame.ready = false;
      return true;
    }
  }
  if (timeoutMs != 0) logTimeout(kind, timeoutMs, handle, context);
  return false;
}
