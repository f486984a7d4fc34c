#include "common/format.h"
#include "common/temperature.h"
#include "core/logger.h"
#include "processing/calibrationRules.h"
#include "processing/stages/stages.h"

namespace {

void reportRefresh(const FrameContext& frame, float previousK) {
  if (!frame.options.verbose) return;
  logger::success(
      format("FFC updated \033[0;37m({:s} S/N {:d}, {:.2f}K → {:.2f}K)", frame.acquisition.name(),
             frame.acquisition.device.serialNumber, previousK, frame.data.flatField.ffcTemperatureK),
      LOG_HERE);
}

}  // namespace

void refreshFlatField(FrameContext& frame) {
  FlatFieldState& flatField = frame.data.flatField;
  const CalibrationRun& validity = frame.data.calibration;
  if (!flatField.twoTableFFC || !flatField.shutterlessCorrection || frame.calibrating()) return;
  const deviceInfo& device = frame.acquisition.device;
  const float sensorK = device.sensorTemperatureK;
  if (!device.temperatureMeasured || !(sensorK > 0.0f)) return;  // what opening chose stays
  const float previousK = flatField.ffcTemperatureK;
  const float temperature = toCelsius(sensorK, 1.0f);
  bool refreshed = false;
  if (validity.ffcLowTemperature > temperature || temperature > validity.ffcHighTemperature)
    refreshed = frame.acquisition._updateFFC(sensorK);
  if (flatField.ffcMode == 2) {
    if (refreshed) reportRefresh(frame, previousK);
    return;
  }
  flatField.ffcWeight =
      calibration::flatFieldWeight(temperature, validity.ffcLowTemperature, validity.ffcHighTemperature);
  if (!flatField.shutterlessCorrection) logger::error("FFC update failed!", LOG_HERE);
}
