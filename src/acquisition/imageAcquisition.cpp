#include "acquisition/imageAcquisition.h"

#include <chrono>
#include <cstdio>

#include "acquisition/acquiringCount.h"
#include "acquisition/deviceTable.h"
#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "core/ArrivalSignal.h"
#include "core/logger.h"
#include "core/settings.h"

namespace {

using namespace std::chrono_literals;

constexpr unsigned kPoolWorkers = 4;

/// Monotonic clock in 100 ns ticks, reduced to microseconds.
std::int64_t monotonicUs() {
  const auto ns = std::chrono::steady_clock::now().time_since_epoch() / 1ns;
  return static_cast<std::int64_t>(ns) / 100 / 10;
}

}  // namespace

deviceInfo::deviceInfo() = default;
deviceInfo::~deviceInfo() = default;

imageAcquisition::imageAcquisition(const std::string& name, const bool& flag)
    : givenName(name), givenFlag(flag), pool(kPoolWorkers) {}

imageAcquisition::~imageAcquisition() {
  requestStop();
  stopAcquisition();
  stopStreaming();
  releaseDevice();
}

void imageAcquisition::init(std::atomic<bool>* workerRunning, std::atomic<bool>* acquiring) {
  logger::debug("", LOG_HERE);
  acquiringCount::setFlags(workerRunning, acquiring);
}

bool imageAcquisition::setUSBDevice(const USBDeviceDesc& desc, const int& a, const int& b) {
  for (const USBDeviceDesc& row : deviceTable()) {
    if (row.vid != desc.vid || row.pid != desc.pid || row.matchString != desc.matchString) continue;
    descriptor = desc;
    firstIndex = a;
    listIndex = b;
    device.modelName = row.modelName;
    device.sensor = row.sensor;
    device.frameRate = row.frameRate;
    device.width = row.width;
    device.height = row.height;
    device.dataType = row.dataType;
    device.linkType = row.linkType;
    if (row.modelName == "USB3-Q7" && settings::current().proxy.get() == "T612") {
      device.sensor = "Velt640D";  // this proxy carries a 640 x 480 sensor behind the larger model's id
      device.width = 640;
      device.height = 480;
    }
    return true;
  }
  const std::string text =
      format("device 0x{:04x}:0x{:04x} ({:s}) not found!", desc.vid, desc.pid, desc.matchString);
  {
    MutexLock lock(errorMutex);
    std::snprintf(errorText, sizeof errorText, "%s", text.c_str());
  }
  logger::error(text, LOG_HERE);
  return false;
}

void imageAcquisition::recordError(const char* pattern) {
  std::string text;
  {
    MutexLock lock(errorMutex);
    std::snprintf(errorText, sizeof errorText, pattern, name().c_str());
    text = errorText;
  }
  logger::error(text, LOG_HERE);
}

std::string imageAcquisition::getErrorText() const {
  MutexLock lock(errorMutex);
  return errorText;
}

bool imageAcquisition::isLost() const { return device.connection && device.connection->isLost(); }

void imageAcquisition::initImageBuffers() {
  FairLock lock(frameMutex);
  processing.allocate(device.width, device.height);
  rawFrame.histogram.assign(kLevels, 0);
  colorFrame.histogram.assign(kLevels, 0);
}

void imageAcquisition::freeImageBuffers() {
  FairLock lock(frameMutex);
  processing.release();
}

bool imageAcquisition::leaving() const { return errorFlag || stopRequested || !acquiringCount::acquiring(); }

bool imageAcquisition::getImage(image<unsigned short>& out, int) {
  if (leaving()) {
    out.clear();
    return false;
  }
  MutexLock lock(ring.mutex);
  while (!ring.deliverable(device.needsTemperatureFrame)) {
    // In slices, because the flags that end the wait are set without the ring mutex.
    ring.condition.wait_for(lock.native(), 50ms);
    if (leaving()) {
      out.clear();
      return false;
    }
  }
  deliver(out, false);
  return true;
}

bool imageAcquisition::takeImage() {
  image<unsigned short>& raw = processing.rawImage;
  if (leaving()) return false;
  if (replaying) return replayImage(raw);
  MutexLock lock(ring.mutex);
  if (!ring.present || !ring.deliverable(device.needsTemperatureFrame)) return false;
  if (ring.emptiedFrame == ring.frameCounter) {
    ring.frameReady = false;
    return false;
  }
  const image<unsigned short>& slot = ring.slots[static_cast<std::size_t>(ring.readSlot())];
  const bool exchange = !ring.deliveredAgain() && slot.width == raw.width && slot.height == raw.height;
  deliver(raw, exchange);
  return true;
}

void imageAcquisition::wakeGetters() {
  {
    FairLock lock(frameMutex);
    rawFrame.ready = true;
    colorFrame.ready = true;
  }
  frameCondition.notify_all();
}

bool imageAcquisition::hasImage() {
  if (leaving()) return false;
  if (replaying) return untilNextPage().count() == 0;
  MutexLock lock(ring.mutex);
  return ring.present && ring.deliverable(device.needsTemperatureFrame);
}

void imageAcquisition::deliver(image<unsigned short>& out, bool exchange) {
  const std::int64_t now = monotonicUs();
  delivered.intervalUs = now - delivered.timeUs;
  delivered.timeUs = now;
  lastFrameUs = now;
  if (!ring.present) return;
  const int slot = ring.readSlot();
  delivered.number = ring.frameCounter;
  delivered.fromFilledSlot = ring.everFilled(slot);
  image<unsigned short>& picture = ring.slots[static_cast<std::size_t>(slot)];
  if (exchange) {
    picture.swap(out);
    ring.emptiedFrame = delivered.number;
  } else {
    copyImage(picture, out);
  }
  ring.frameReady = false;
  ring.temperatureReady = false;
  ring.triggerRequested = false;
}

void imageAcquisition::broadcast() {
  ring.wakeAll(device.needsTemperatureFrame);
  frameArrivals.notify();
}

void imageAcquisition::setPairing(bool on) {
  {
    MutexLock lock(ring.mutex);
    device.needsTemperatureFrame = on;
    ring.condition.notify_all();
  }
  frameArrivals.notify();
}

void imageAcquisition::requestTrigger() {
  {
    MutexLock lock(ring.mutex);
    ring.triggerRequested = true;
    ring.condition.notify_all();
  }
  frameArrivals.notify();
}
