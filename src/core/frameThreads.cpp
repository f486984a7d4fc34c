// The Core worker and the per-camera processing tasks.

#include <algorithm>
#include <chrono>
#include <future>
#include <utility>
#include <vector>

#include "common/format.h"
#include "common/numerics.h"
#include "core/ArrivalSignal.h"
#include "core/Core.h"
#include "core/cameraList.h"
#include "core/logger.h"
#include "core/multithreading.h"
#include "core/runtimeFlags.h"
#include "core/settings.h"
#include "presentation/colorize.h"
#include "processing/process.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kEntered = "\033[0;38;5;178m→";
constexpr const char* kFinished = "\033[0;49;32mDone";
/// The longest pause of the worker; arrivals and clean-up end it earlier.
constexpr std::chrono::microseconds kIdle = 50ms;
/// How often a camera is looked at that free-run holds back.
constexpr std::chrono::microseconds kHeldBack = 5ms;

std::int64_t monotonicUs() {
  return static_cast<std::int64_t>(std::chrono::steady_clock::now().time_since_epoch() / 1us);
}

std::uint64_t systemUs() {
  return static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch() / 1us);
}

/// Frames are wanted from this camera: free-run, or it pairs them with temperatures.
bool wantsFrames(const imageAcquisition& camera) {
  return freeRunMode || camera.device.needsTemperatureFrame;
}

/// How long the camera's rate limit still holds its next frame back; 0 = not at all.
std::chrono::microseconds heldBackFor(const imageAcquisition& camera) {
  const float limit = camera.rateLimit;
  if (!(limit > 0.0f)) return 0us;
  const auto period = std::chrono::microseconds(truncateToI32(1e6 / static_cast<double>(limit)));
  const auto passed = std::chrono::microseconds(monotonicUs() - camera.lastFrameUs);
  return std::max<std::chrono::microseconds>(period - passed, 0us);
}

bool usable(const imageAcquisition& camera) { return camera.ready && !camera.hasError() && !camera.isLost(); }

/// One cycle's tasks. The containers keep their capacity, so that a cycle allocates nothing.
struct Cycle {
  std::vector<imageAcquisition*> cameras;
  std::vector<std::future<int>> tasks;
  WorkerPool* pool = nullptr;         ///< looked up once: another SDK object may replace it meanwhile
  std::chrono::microseconds pause{};  ///< until something that is held back now may be due
};

void startTask(Cycle& cycle, std::size_t position) {
  imageAcquisition* const camera = cycle.cameras[position];
  const Core::processThreadData data{static_cast<std::uint8_t>(position), camera,
                                     camera->processing.outputImage.width,
                                     camera->processing.outputImage.height};
  const auto process = [data] {
    Core::processThreadProc(data);
    return multithreading::kTaskDone;
  };
  // The Core worker runs one itself: with one camera no other thread need wake up.
  cycle.tasks.push_back(cycle.tasks.empty()
                            ? multithreading::startTaskForCaller(cycle.pool, process, "process")
                            : multithreading::startWorkerThread(cycle.pool, process, "process"));
}

/// Starts a task for every camera with a new frame that is due.
void startTasks(Cycle& cycle) {
  cycle.tasks.reserve(cycle.cameras.size());  // nothing may fail between starting a task and keeping it
  cycle.pause = kIdle;
  for (std::size_t i = 0; i < cycle.cameras.size(); ++i) {
    imageAcquisition& camera = *cycle.cameras[i];
    if (!usable(camera)) continue;
    if (!wantsFrames(camera)) {
      cycle.pause = std::min(cycle.pause, kHeldBack);
    } else if (camera.hasImage()) {
      const auto wait = heldBackFor(camera);
      if (wait == 0us) {
        startTask(cycle, i);
      } else {
        cycle.pause = std::min(cycle.pause, wait);
      }
    } else if (camera.replaying) {
      cycle.pause = std::min(cycle.pause, camera.untilNextPage());
    }
  }
}

void waitForTasks(Cycle& cycle) {
  // The machine may have no other worker to run them.
  if (cycle.pool) cycle.pool->runPending();
  for (auto& task : cycle.tasks) multithreading::waitThread(task);
  cycle.tasks.clear();
}

void runCycle(Cycle& cycle) {
  const std::uint64_t seen = frameArrivals.count();
  cycle.pool = auxiliaryPool;
  cameraList.snapshot(cycle.cameras);
  startTasks(cycle);
  if (cycle.tasks.empty()) {
    frameArrivals.waitBeyond(seen, cycle.pause);
  } else {
    waitForTasks(cycle);
  }
}

/// A cycle that threw, for example for want of memory: the worker goes on, without a hot loop of failures.
void recoverFrom(Cycle& cycle) {
  waitForTasks(cycle);
  logger::error("Frame cycle failed", LOG_HERE);
  frameArrivals.waitBeyond(~std::uint64_t{0}, kHeldBack);
}

/// Marks a frame as ready for its getter, who finds its histogram when the frame mutex comes free.
void publish(PublishedFrame& frame, std::uint64_t frameNumber) {
  frame.frameNumber = frameNumber;
  frame.stampUs = systemUs();
  ++frame.counter;
  frame.ready = true;
}

void updatePublicationRate(imageAcquisition& camera, std::uint64_t previousStampUs) REQUIRES(frameMutex) {
  if (camera.rawFrame.counter < 2 || camera.rawFrame.stampUs <= previousStampUs) return;
  const float period = 1e-6f * static_cast<float>(camera.rawFrame.stampUs - previousStampUs);
  // The periods are averaged: a mean of momentary rates would tell too much when frames come unevenly.
  const float before = camera.publicationRate == 0.0f ? period : 1.0f / camera.publicationRate;
  camera.publicationRate = 1.0f / (0.9f * before + 0.1f * period);
}

bool colorFrameWanted(const imageAcquisition& camera) {
  if (settings::current().tiffFrameDump && camera.dumpFrames) return false;
  return workerRunningFlag && wantsFrames(camera);
}

/// What one processing task has published.
struct Published {
  bool raw = false;
  bool color = false;
};

/// Processes and publishes the raw frame that was just fetched.
Published processAndPublish(const Core::processThreadData& data) REQUIRES(frameMutex) {
  imageAcquisition& camera = *data.acquisition;
  Published published;
  camera.followDumpSetting();
  if (!process(&camera)) return published;
  published.raw = true;
  const std::uint64_t number = camera.delivered.number;
  const std::uint64_t previousStampUs = camera.rawFrame.stampUs;
  publish(camera.rawFrame, number);
  updatePublicationRate(camera, previousStampUs);
  if (colorFrameWanted(camera) && colorize(&camera, data.displayWidth, data.displayHeight)) {
    publish(camera.colorFrame, number);
    // The next frame may leave the counts as they are.
    camera.colorFrame.histogram = camera.processing.mapping.colorCounts;
    published.color = true;
  }
  // After the overlays, which read it. The next frame counts its levels anew.
  camera.rawFrame.histogram.swap(camera.processing.statistics.histogram);
  camera.offerSnapshots(published.color);
  return published;
}

}  // namespace

void Core::workerThreadProc() {
  logger::debug(kEntered, LOG_HERE);
  Cycle cycle;
  while (workerRunningFlag) {
    try {
      runCycle(cycle);
    } catch (...) {
      recoverFrom(cycle);
    }
  }
  cameraList.snapshot(cycle.cameras);
  for (imageAcquisition* camera : cycle.cameras) camera->wakeGetters();
}

void Core::processThreadProc(processThreadData data) {
  logger::debug(kEntered, LOG_HERE);
  imageAcquisition& camera = *data.acquisition;
  if (!camera.takeImage()) return;
  if (workerRunningFlag && wantsFrames(camera)) {
    camera.listPosition = data.position;
    Published published;
    {
      FairLock lock(frameMutex);
      published = processAndPublish(data);
    }
    if (published.raw) camera.frameCondition.notify_all();
    // Without the lock: this task alone writes the picture, and getters need not wait for an output.
    const image<rgb_24b>& picture = camera.processing.colorImage;
    if (published.color && camera.viewerOutput) camera.viewerOutput->show(picture.view());
    postProcess(&camera);
  }
  logger::debug(kFinished, LOG_HERE);
}

void Core::postProcess(imageAcquisition* acquisition) {
  if (!settings::current().profiling) return;
  FairLock lock(frameMutex);
  const StageTimes& times = acquisition->processing.stageTimes;
  const std::pair<const char*, float> rows[] = {
      {"Processing time   ", times.processingMs},
      {"Defective pixels  ", times.defectivePixelsMs},
      {"Flat field        ", times.flatFieldMs},
      {"Column destriping ", times.columnDestripingMs},
      {"Row destriping    ", times.rowDestripingMs},
      {"Thermographic     ", times.thermographicMs},
      {"Statistics        ", times.statisticsMs},
      {"Level compensation", times.levelCompensationMs},
      {"Gain control      ", times.gainControlMs},
      {"Temporal filter   ", times.temporalFilterMs},
      {"Resampling        ", times.resamplingMs},
      {"Spatial filter    ", times.filteringMs},
      {"Colorization time ", acquisition->processing.colorizeTimeMs},
  };
  for (const auto& [stage, ms] : rows) logger::info(format("{:s} = {:.2f}ms", stage, ms), LOG_HERE);
}
