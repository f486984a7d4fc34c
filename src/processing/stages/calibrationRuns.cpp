// The automatic calibration: trigger, sums, result.

#include <filesystem>

#include "calibration/ffcFile.h"
#include "common/filePath.h"
#include "common/format.h"
#include "common/temperature.h"
#include "processing/calibrationRules.h"
#include "processing/kernels/flatFieldTables.h"
#include "processing/stages/shutterRun.h"
#include "processing/stages/stages.h"

namespace {

/// Lends the accumulator to a new automatic calibration.
void startCalibration(FrameContext& frame, float temperature) {
  auto& data = frame.data;
  CalibrationRun& run = data.calibration;
  data.borrowAccumulator();
  data.kept.lowTemperature = run.ffcLowTemperature;
  data.kept.shutterlessCorrection = data.flatField.shutterlessCorrection;
  run.ffcFramesTaken = 0;
  data.flatField.shutterlessCorrection = false;
  run.ffcCalibrating = true;
  run.ffcTriggerTemperature = temperature;
}

std::string tableName(const FrameContext& frame) {
  const CalibrationRun& run = frame.data.calibration;
  const deviceInfo& device = frame.acquisition.device;
  const std::string name =
      format("{:s}_{:d}_{:02.0f}.ffc", frame.acquisition.name(), device.serialNumber, run.ffcLowTemperature);
  if (run.saveCalibrationAt25) return format("data/{:03d}/{:s}", 25, name);
  if (run.saveCalibrationAt50) return format("data/{:03d}/{:s}", 50, name);
  return format("data/{:s}", name);
}

void finishCalibration(FrameContext& frame) {
  auto& data = frame.data;
  CalibrationRun& run = data.calibration;
  run.ffcLowTemperature /= static_cast<float>(run.ffcFramesToTake);
  data.flatField.ffcMean = getFFCMean(data.ffcAccumulator, run.ffcFramesToTake);
  run.ffcCalibrating = false;
  data.flatField.shutterlessCorrection = true;
  data.kept.borrowed = false;  // the sums are slot 0's low table from here on
  if (run.autoFFC) {
    saveTable(data.ffcAccumulator, run.ffcFramesTaken, run.ffcLowTemperature, tableName(frame));
  }
  run.ffcFramesTaken = 0;
}

}  // namespace

void saveTable(const image<unsigned int>& table, std::uint16_t frames, float temperature,
               const std::string& path) {
  std::error_code failure;  // what the opening of the file then reports
  std::filesystem::create_directories(filePath(path).parent_path(), failure);
  saveFFC(table, frames, temperature, path);
}

void cancelCalibration(FrameContext& frame) {
  auto& data = frame.data;
  if (!data.calibration.ffcCalibrating) return;
  data.calibration.ffcCalibrating = false;
  data.calibration.ffcFramesTaken = 0;
  if (!data.kept.borrowed) return;  // asked for by hand, without a start of ours: nothing was put aside
  data.returnAccumulator();
  data.calibration.ffcLowTemperature = data.kept.lowTemperature;
  data.flatField.shutterlessCorrection = data.kept.shutterlessCorrection;
}

void triggerCalibration(FrameContext& frame) {
  beginShutterRun(frame);
  const CalibrationRun& run = frame.data.calibration;
  if (!run.autoFFC || run.ffcFramesToTake == 0) return;
  // A shutter run that is given up in the middle of this frame keeps the accumulator until the next one.
  const bool busy = run.ffcCalibrating || frame.shutterRun() || frame.data.kept.borrowed;
  const calibration::TriggerView view{.sensorK = frame.acquisition.device.sensorTemperatureK,
                                      .rangeMinK = frame.data.radiometry.rangeMinK,
                                      .lastTriggerC = run.ffcTriggerTemperature,
                                      .sensorMeasured = frame.acquisition.device.temperatureMeasured,
                                      .realFrame = frame.fromFilledSlot,
                                      .runInProgress = busy};
  if (calibration::calibrationDue(view)) startCalibration(frame, toCelsius(view.sensorK, 1.0f));
}

void accumulateCalibration(FrameContext& frame) {
  if (!frame.calibrating() || !frame.fromFilledSlot) return;
  CalibrationRun& run = frame.data.calibration;
  kernels::accumulateFrame(frame.data.rawImage.view(), frame.data.ffcAccumulator.view());
  if (run.ffcFramesTaken == 0) run.ffcLowTemperature = 0.0f;
  run.ffcLowTemperature += toCelsius(frame.acquisition.device.sensorTemperatureK, 1.0f);
  ++run.ffcFramesTaken;
  if (run.ffcFramesTaken >= run.ffcFramesToTake) finishCalibration(frame);
}
