// A shutter run that tells how far it is, and that Ctrl-C ends.

#include <chrono>
#include <future>

#include "acquisition/imageAcquisition.h"
#include "common/format.h"
#include "core/deviceRegistry.h"
#include "tools/common/progressLine.h"
#include "tools/common/session.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

constexpr auto kSlice = std::chrono::milliseconds(50);

unsigned framesTaken(int index) {
  const registry::DeviceUser camera(index, LOG_HERE);
  if (!camera) return 0;
  MutexLock lock(camera->calibrationMutex);
  return camera->shutterRun.framesTaken();
}

void cancelRun(int index) {
  const registry::DeviceUser camera(index, LOG_HERE);
  if (!camera) return;
  MutexLock lock(camera->calibrationMutex);
  camera->shutterRun.cancel();  // whoever waits for it looks again soon
}

}  // namespace

void runShutter(int index, Ombrix& camera, int frames) {
  const ProgressLine progress(
      [&] { return format("shutter run: {} of {} frames", framesTaken(index), frames); });
  const auto run = std::async(std::launch::async, [&] { camera.runFFC(true, frames); });
  // Until it has ended: the run itself may be asked for only after the first look.
  while (run.wait_for(kSlice) != std::future_status::ready) {
    if (interrupted()) cancelRun(index);
  }
  if (interrupted()) throw CommandFailure("interrupted");
}

}  // namespace tools
