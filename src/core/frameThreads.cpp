// The Core worker and the per-camera processing tasks.

#include <algorithm>
#include <chrono>
#include <future>
#include <vector>

#include "common/format.h"
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
constexpr auto kIdle = 50ms;
/// How often a camera is looked at that is held back by its rate limit or by free-run off.
constexpr auto kHeldBack = 5ms;

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

bool rateAllows(const imageAcquisition& camera) {
  const float limit = camera.rateLimit;
  if (!(limit > 0.0f)) return true;
  const double periodUs = 1e6 / static_cast<double>(limit);
  return static_cast<double>(monotonicUs() - camera.lastFrameUs) >= periodUs;
}

bool usable(const imageAcquisition& camera) { return camera.ready && !camera.hasError() && !camera.isLost(); }

/// One cycle's tasks. The containers keep their capacity, so that a cycle allocates nothing.
struct Cycle {
  std::vector<imageAcquisition*> cameras;
  std::vector<std::future<int>> tasks;
  bool heldBack = false;
};

void startTask(Cycle& cycle, std::size_t position) {
  imageAcquisition* const camera = cycle.cameras[position];
  const Core::processThreadData data{static_cast<std::uint8_t>(position), camera,
                                     camera->processing.outputImage.width,
                                     camera->processing.outputImage.height};
  cycle.tasks.push_back(multithreading::startWorkerThread(
      auxiliaryPool,
      [data] {
        Core::processThreadProc(data);
        return multithreading::kTaskDone;
      },
      "process"));
}

/// Starts a task for every camera with a new frame that is due.
void startTasks(Cycle& cycle) {
  cycle.heldBack = false;
  for (std::size_t i = 0; i < cycle.cameras.size(); ++i) {
    imageAcquisition& camera = *cycle.cameras[i];
    if (!usable(camera)) continue;
    if (!wantsFrames(camera)) {
      cycle.heldBack = true;
    } else if (camera.hasImage()) {
      if (rateAllows(camera)) {
        startTask(cycle, i);
      } else {
        cycle.heldBack = true;
      }
    }
  }
}

void waitForTasks(Cycle& cycle) {
  // The machine may have no other worker to run them.
  if (auxiliaryPool) auxiliaryPool->runPending();
  for (auto& task : cycle.tasks) multithreading::waitThread(task);
  cycle.tasks.clear();
}

void runCycle(Cycle& cycle) {
  const std::uint64_t seen = frameArrivals.count();
  cameraList.snapshot(cycle.cameras);
  startTasks(cycle);
  if (!cycle.tasks.empty()) {
    waitForTasks(cycle);
  } else if (cycle.heldBack) {
    frameArrivals.waitBeyond(~std::uint64_t{0}, kHeldBack);  // an arrival would not make it due
  } else {
    frameArrivals.waitBeyond(seen, kIdle);
  }
}

/// Marks a frame as ready for its getter.
void publish(PublishedFrame& frame, std::uint64_t frameNumber, const std::vector<std::uint32_t>& histogram) {
  std::copy(histogram.begin(), histogram.end(), frame.histogram.begin());
  frame.frameNumber = frameNumber;
  frame.stampUs = systemUs();
  ++frame.counter;
  frame.ready = true;
}

void updatePublicationRate(imageAcquisition& camera, std::uint64_t previousStampUs) REQUIRES(frameMutex) {
  if (camera.rawFrame.counter < 2 || camera.rawFrame.stampUs <= previousStampUs) return;
  const float rate = 1e6f / static_cast<float>(camera.rawFrame.stampUs - previousStampUs);
  camera.publicationRate =
      camera.publicationRate == 0.0f ? rate : 0.9f * camera.publicationRate + 0.1f * rate;
}

bool colorFrameWanted(const imageAcquisition& camera) {
  if (settings::current().tiffFrameDump && camera.dumpFrames) return false;
  return workerRunningFlag && wantsFrames(camera);
}

/// Processes and publishes the raw frame that was just fetched. True when something was published.
bool processAndPublish(const Core::processThreadData& data) REQUIRES(frameMutex) {
  imageAcquisition& camera = *data.acquisition;
  if (!process(&camera)) return false;
  const std::uint64_t number = camera.delivered.number;
  const std::uint64_t previousStampUs = camera.rawFrame.stampUs;
  publish(camera.rawFrame, number, camera.processing.statistics.histogram);
  updatePublicationRate(camera, previousStampUs);
  if (colorFrameWanted(camera) && colorize(&camera, data.displayWidth, data.displayHeight)) {
    publish(camera.colorFrame, number, camera.processing.mapping.colorCounts);
  }
  return true;
}

}  // namespace

void Core::workerThreadProc() {
  logger::debug(kEntered, LOG_HERE);
  Cycle cycle;
  while (workerRunningFlag) {
    try {
      runCycle(cycle);
    } catch (const std::exception& failure) {
      logger::error(format("Frame cycle failed: {:s}", std::string(failure.what())), LOG_HERE);
      for (auto& task : cycle.tasks) multithreading::waitThread(task);
      cycle.tasks.clear();
    }
  }
  cameraList.snapshot(cycle.cameras);
  for (imageAcquisition* camera : cycle.cameras) {
    {
      FairLock lock(frameMutex);
      camera->colorFrame.ready = true;
      camera->rawFrame.ready = true;
      camera->closing = true;
    }
    camera->frameCondition.notify_all();
  }
}

void Core::processThreadProc(processThreadData data) {
  logger::debug(kEntered, LOG_HERE);
  imageAcquisition& camera = *data.acquisition;
  if (!camera.replaying && !camera.waitImage(camera.processing.rawImage, 0)) return;
  if (workerRunningFlag && wantsFrames(camera)) {
    camera.listPosition = data.position;
    bool published = false;
    {
      FairLock lock(frameMutex);
      published = processAndPublish(data);
    }
    if (published) camera.frameCondition.notify_all();
    postProcess(&camera);
  }
  logger::debug(kFinished, LOG_HERE);
}

void Core::postProcess(imageAcquisition* acquisition) {
  if (!settings::current().profiling) return;
  FairLock lock(frameMutex);
  const auto& times = acquisition->processing.stageTimes;
  logger::info(format("Processing time    = {:.2f}ms", times.processingMs), LOG_HERE);
  logger::info(format("Colorization time  = {:.2f}ms", acquisition->processing.colorizeTimeMs), LOG_HERE);
}
