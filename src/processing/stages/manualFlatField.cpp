// The manual table, and the shutter run that makes it.

#include <algorithm>
#include <chrono>
#include <exception>
#include <string_view>

#include "calibration/ffcFile.h"
#include "common/format.h"
#include "common/numerics.h"
#include "common/temperature.h"
#include "core/logger.h"
#include "processing/kernels/flatFieldTables.h"
#include "processing/stages/shutterRun.h"
#include "processing/stages/stages.h"

namespace {

std::int64_t monotonicMicroseconds() {
  using namespace std::chrono_literals;
  return static_cast<std::int64_t>(std::chrono::steady_clock::now().time_since_epoch() / 1us);
}

/// Takes over what `ffcAccumulator` has become as the manual table. Allocates nothing: a run that failed here
/// would never end.
void adoptSums(processData<unsigned short>& data, std::uint16_t frames) {
  std::copy_n(data.ffcAccumulator.data, data.ffcAccumulator.pixelCount(), data.manual.sums.data);
  data.manual.frames = frames;
  data.destriping.columns.base = data.destriping.columns.held;
  data.manual.mean = calibration::levelOfTheMiddle(data.manual.sums, frames, data.defects.list);
  data.returnAccumulator();
}

/// Under both names.
void saveManualTable(FrameContext& frame) {
  const ManualTable& manual = frame.data.manual;
  const auto temperature = static_cast<float>(frame.data.shutterSums.temperature / manual.frames);
  const std::string base = format("{:s}/ffc/{:s}_{:d}", frame.acquisition.dataDirectory(),
                                  frame.acquisition.name(), frame.acquisition.device.serialNumber);
  saveTable(manual.sums, manual.frames, temperature, format("{:s}.ffc", base));
  saveTable(manual.sums, manual.frames, temperature,
            format("{:s}_{:03d}.ffc", base, truncateToI32(static_cast<double>(temperature))));
}

/// Without the memory to file it the table is in force all the same.
void fileManualTable(FrameContext& frame) {
  try {
    saveManualTable(frame);
  } catch (const std::exception& failure) {
    logger::error(format("Flat-field table not saved: {:s}", std::string_view(failure.what())), LOG_HERE);
  }
}

void finishShutterRun(FrameContext& frame, std::uint16_t frames) {
  adoptSums(frame.data, frames);
  fileManualTable(frame);  // without the calibration mutex: nobody who asks for a run waits for a disk
  imageAcquisition& camera = frame.acquisition;
  MutexLock lock(camera.calibrationMutex);
  if (!camera.shutterRun.finish()) return;
  frame.data.flatField.flatFieldCorrection = true;
  frame.data.calibration.shutterFFCRunning = false;
  camera.calibrationCondition.notify_all();
}

/// Adds the frame to the run in progress.
void sumShutterFrame(FrameContext& frame) {
  if (!frame.fromFilledSlot) return;
  imageAcquisition& camera = frame.acquisition;
  std::uint16_t frames = 0;
  {
    MutexLock lock(camera.calibrationMutex);
    if (!camera.shutterRun.summing()) return;  // asked for, or given up, in the middle of this frame
    kernels::accumulateFrame(frame.working->view(), frame.data.ffcAccumulator.view());
    frame.data.shutterSums.temperature +=
        static_cast<double>(toCelsius(camera.device.sensorTemperatureK, 1.0f));
    if (!camera.shutterRun.frameSummed()) return;
    frames = camera.shutterRun.framesToTake();
  }
  finishShutterRun(frame, frames);
}

}  // namespace

void beginShutterRun(FrameContext& frame) {
  imageAcquisition& camera = frame.acquisition;
  MutexLock lock(camera.calibrationMutex);
  if (frame.shutterRun()) camera.shutterProgressUs = monotonicMicroseconds();
  switch (camera.shutterRun.nextFrame()) {
    case ShutterRunSequence::Step::begin:
      cancelCalibration(frame);
      frame.data.borrowAccumulator();
      frame.data.calibration.ffcFramesToTake = camera.shutterRun.framesToTake();
      frame.data.shutterSums = {};
      return;
    case ShutterRunSequence::Step::giveBack:
      // A run given up before it began left the accumulator to the automatic calibration that has it.
      if (!frame.calibrating()) frame.data.returnAccumulator();
      return;
    case ShutterRunSequence::Step::none:
      return;
  }
}

void applyManualFlatField(FrameContext& frame) {
  if (frame.shutterRun()) return sumShutterFrame(frame);
  const ManualTable& manual = frame.data.manual;
  if (!frame.data.flatField.flatFieldCorrection || !manual.usable()) return;
  if (manual.sums.width != frame.working->width || manual.sums.height != frame.working->height) return;
  kernels::correctOffset(frame.working->view(), manual.sums.view(), manual.mean, manual.frames);
}
