// Starting and stopping a camera's stream and the threads that go with it.

#include <chrono>

#include "acquisition/acquiringCount.h"
#include "acquisition/imageAcquisition.h"
#include "acquisition/transport/UVCConnection.h"
#include "core/ArrivalSignal.h"
#include "core/logger.h"

bool imageAcquisition::startAcquisition() {
  if (streaming) return false;
  stopRequested = false;
  acquiringCount::add();
  try {
    if (startStreaming()) {
      streaming = true;
      return true;
    }
  } catch (...) {  // no memory, no thread
    undoStart();
  }
  acquiringCount::remove();
  recordError("Unable to start %s streaming!");
  errorFlag = true;
  return false;
}

bool imageAcquisition::startStreaming() {
  if (device.linkType != linkTypeUVC || !device.connection) {
    errorFlag = true;
    return false;
  }
  ring.allocate(device.width, device.height);
  device.connection->setArrivalSignal(&frameArrivals);
  device.connection->setAcqPointers(ring.slotPointers.data(), &ring.writeIndex, &ring.mutex,
                                    &ring.frameCounter, FrameRing::kSlots, &ring.condition, &ring.frameReady);
  if (replaying) return true;  // frames and temperatures come from the file
  startTemperatureWorker();
  if (startTransport()) return true;
  errorFlag = true;
  undoStart();
  return false;
}

void imageAcquisition::startTemperatureWorker() {
  const auto start = [this](void (imageAcquisition::*body)(), const char* workerName) {
    temperatureWorker = multithreading::startWorkerThread(
        &pool,
        [this, body] {
          (this->*body)();
          return multithreading::kTaskDone;
        },
        workerName);
  };
  if (device.modelName == "Bramble 6") {
    start(&imageAcquisition::Velt640DTempUpdateThreadProc, "Velt640DTempUpdate");
  } else if (device.sensor == "Quor320") {
    start(&imageAcquisition::Quor320TempUpdateThreadProc, "Quor320TempUpdate");
  } else if (device.modelName == "USB3-Q7" || device.modelName == "Hollis 12") {
    start(&imageAcquisition::Velt1280TempUpdateThreadProc, "Velt1280TempUpdate");
  }
}

bool imageAcquisition::startTransport() {
  if (usesPlaceholder()) {
    placeholderWorker = multithreading::startWorkerThread(
        &pool,
        [this] {
          UVCAcqThreadProc();
          return multithreading::kTaskDone;
        },
        "UVCAcq");
    return true;
  }
  // The size that was chosen with the media type: a 1288-wide stream is not the image's 1280.
  return device.connection->startStreaming(&pool, device.connection->streamWidth(),
                                           device.connection->streamHeight(), 0);
}

void imageAcquisition::undoStart() {
  requestStop();
  stopStreaming();  // after an exception the transport may be delivering already
  ring.release();
}

void imageAcquisition::requestStop() {
  stopRequested = true;
  if (device.connection) device.connection->beginStop();
  {
    MutexLock lock(workerMutex);
    workerCondition.notify_all();
  }
  broadcast();
}

void imageAcquisition::stopAcquisition() {
  if (!streaming) return;
  acquiringCount::remove();
  requestStop();
  if (!stopStreaming()) {
    recordError("Unable to stop %s streaming!");
    errorFlag = true;
  }
  streaming = false;
  ring.release();
}

bool imageAcquisition::stopStreaming() {
  bool stopped = true;
  if (device.linkType == linkTypeUVC && device.connection) stopped = device.connection->stopStreaming();
  waitForWorkers();
  return stopped;
}

void imageAcquisition::waitForWorkers() {
  pool.runPending();  // with one worker, the placeholder may still be queued behind the temperature worker
  if (temperatureWorker.valid()) multithreading::waitThread(temperatureWorker);
  if (placeholderWorker.valid()) multithreading::waitThread(placeholderWorker);
}

void imageAcquisition::UVCAcqThreadProc() {
  logger::debug("\033[0;38;5;178m→", LOG_HERE);
  logger::debug("Stub", LOG_HERE);
  logger::debug("Done", LOG_HERE);
}
