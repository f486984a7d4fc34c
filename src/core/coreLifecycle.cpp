// Opening cameras and cleaning up.

#include <chrono>
#include <cstdio>
#include <future>
#include <thread>

#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "core/ArrivalSignal.h"
#include "core/Core.h"
#include "core/cameraList.h"
#include "core/deviceRegistry.h"
#include "core/logger.h"
#include "core/multithreading.h"
#include "core/runtimeFlags.h"
#include "core/settings.h"
#include "presentation/ColorPreset.h"
#include "presentation/overlays/overlayFonts.h"

CameraList& cameraList = *new CameraList;

namespace {

using namespace std::chrono_literals;

/// How long clean-up waits for calls in progress before it leaves their camera alone.
constexpr auto kUserGrace = 5s;

/// Never destroyed, so that a process may end while cameras stream.
struct WorkerHandle {
  Mutex coreMutex{LockRank::core};
  std::future<int> worker GUARDED_BY(coreMutex);
};
WorkerHandle& handle = *new WorkerHandle;

/// Opens the output for viewers of others, where the settings name one.
void openViewerOutput(imageAcquisition& camera) {
  const settings& options = settings::current();
  if (!options.v4l2LoopbackOn) return;
  const std::string path = options.v4l2Loopback.get();
  const std::uint32_t width = camera.processing.colorImage.width;
  const std::uint32_t height = camera.processing.colorImage.height;
  logger::info(format("Initializing v4l2 loopback \033[0;90m({:s}, {:d}x{:d}, {:s})", path, width, height,
                      "V4L2_PIX_FMT_RGB32"),
               LOG_HERE);
  camera.viewerOutput = transport::openViewerOutput(path, width, height);
}

/// Connects, configures and starts one camera; it becomes `ready` only when all of that succeeded.
void prepare(imageAcquisition& camera) {
  if (!camera.initAcquisition()) return;
  camera.readIdentity();
  logger::info("\033[0;37mInitializing image buffers", LOG_HERE);
  camera.initImageBuffers();
  openViewerOutput(camera);
  logger::info("\033[0;37mInitializing colormaps", LOG_HERE);
  camera.processing.selectColorPreset(0);
  camera.loadCalibrationFiles();
  loadOverlayFonts(camera.dataDirectory());
  camera.prepareReplay();
  if (!camera.startAcquisition()) return;
  camera.ready = true;
}

void startWorker() REQUIRES(handle.coreMutex) {
  if (handle.worker.valid()) {
    logger::info("Worker thread is already running", LOG_HERE);
    return;
  }
  workerRunningFlag = true;
  logger::info("Starting worker thread", LOG_HERE);
  try {
    handle.worker = multithreading::startThread(
        [] {
          Core::workerThreadProc();
          return multithreading::kTaskDone;
        },
        "worker");
  } catch (...) {
    workerRunningFlag = false;
    throw;
  }
  if (!handle.worker.valid()) workerRunningFlag = false;
}

/// camera: to be prepared; null for none.
void initLocked(imageAcquisition* camera) REQUIRES(handle.coreMutex) {
  if (colorPresetCount() == 0) loadColorPresets();
  if (camera) prepare(*camera);
  startWorker();
  logger::info("\033[0;37mInitialization done.", LOG_HERE);
  freeRunMode = true;
}

/// True when no call is in progress on the camera any more.
bool waitForUsers(imageAcquisition& camera) {
  const auto deadline = std::chrono::steady_clock::now() + kUserGrace;
  while (camera.users > 0) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    camera.wakeGetters();
    std::this_thread::sleep_for(1ms);
  }
  return true;
}

void release(std::unique_ptr<imageAcquisition> camera) {
  if (!waitForUsers(*camera)) {
    logger::warning(format("A call is still in progress on {:s}, leaving it", camera->name()), LOG_HERE);
    static_cast<void>(camera.release());  // rather a leak than freeing under a caller
    return;
  }
  if (!camera->releaseAcquisition()) camera->recordError("Unable to release %s!");
}

void removeViewerFiles() {
  for (const char* path : {"data/Tarn_Vale_Viewer.pid", "data/Tarn_Vale_Viewer.ppid"}) std::remove(path);
}

}  // namespace

void Core::openCamera(int deviceHandle, const std::string& dataPath) {
  MutexLock lock(handle.coreMutex);
  if (registry::contains(deviceHandle)) {
    logger::error(format("Device is already connected. Handle: {:d}", deviceHandle), LOG_HERE);
    return;
  }
  if (!settings::inst()) return;  // no SDK object: its error line says so
  // Until it is listed nobody else knows the camera: when memory or threads run out on the way, it goes, its
  // device with it, and a later attempt finds the device free.
  auto camera = std::make_unique<imageAcquisition>(dataPath, true);
  const bool bound = camera->setUSBDevice(UVCConnection::describeDevice(deviceHandle), 0, deviceHandle);
  registry::Entry entry(deviceHandle, camera.get());
  const std::string connectedLine = format("Device connected. Handle: {:d}", deviceHandle);
  initLocked(bound ? camera.get() : nullptr);
  cameraList.add(std::move(camera));  // the last thing that can fail
  registry::add(std::move(entry));
  frameArrivals.notify();  // its first frame may have come already
  logger::debug(connectedLine, LOG_HERE);
}

void Core::init(int, char**) {
  MutexLock lock(handle.coreMutex);
  initLocked(nullptr);
}

void Core::cleanup() {
  logger::debug("cleanup()", LOG_HERE);
  registry::beginClosing();
  workerRunningFlag = false;
  freeRunMode = false;
  // A camera being opened on another thread gives up at its next transfer, each of which may take seconds.
  UVCConnection::refuseTransfers(true);
  MutexLock lock(handle.coreMutex);
  workerRunningFlag = false;  // a camera that was being opened meanwhile may have started the worker
  freeRunMode = false;
  std::vector<imageAcquisition*> cameras;
  cameraList.snapshot(cameras);
  for (imageAcquisition* camera : cameras) camera->broadcast();
  frameArrivals.notify();
  if (handle.worker.valid()) multithreading::waitThread(handle.worker);
  for (imageAcquisition* camera : cameras) camera->wakeGetters();
  for (imageAcquisition* camera : cameras) camera->requestStop();
  for (imageAcquisition* camera : cameras) camera->stopAcquisition();
  logger::info("\033[1;34mCleanup...", LOG_HERE);
  for (auto& camera : cameraList.takeAll()) release(std::move(camera));
  logger::info("\033[1;32mDone.", LOG_HERE);
  removeViewerFiles();
  freeOverlayFonts();
  settings::release();
  UVCConnection::refuseTransfers(false);
}
