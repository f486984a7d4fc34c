// The calibration files of a camera, when it is opened, and the switches that follow from them.

#include <chrono>

#include "acquisition/imageAcquisition.h"
#include "calibration/badPixels.h"
#include "calibration/ffcFile.h"
#include "calibration/polynomialFiles.h"
#include "calibration/thermographicFile.h"
#include "common/fileBytes.h"
#include "common/format.h"
#include "core/logger.h"
#include "core/settings.h"

namespace {

/// What opening assumes until the first frame brings the sensor's own temperature.
constexpr float kUsualSensorK = 298.15f;

std::int64_t monotonicUs() {
  using namespace std::chrono_literals;
  return static_cast<std::int64_t>(std::chrono::steady_clock::now().time_since_epoch() / 1us);
}

/// Models whose last pixel carries the sensor temperature.
bool lastPixelIsTemperature(std::uint16_t width) { return width == 320 || width == 640; }

}  // namespace

CalibrationPlaces imageAcquisition::calibrationPlaces() const {
  CalibrationPlaces places{givenName, {name()}, device.serialNumber, device.width, device.height};
  if (!device.sensor.empty() && device.sensor != name()) places.names.push_back(device.sensor);
  return places;
}

bool imageAcquisition::loadDefects(const CalibrationPlaces& places) {
  return loadBadPixelsList(&processing.defects.list, device.width, device.height, places.file("dpc", ".dpc"));
}

bool imageAcquisition::loadManualTable(const CalibrationPlaces& places) {
  ManualTable& manual = processing.manual;
  const std::string path = places.file("ffc", ".ffc");
  std::uint16_t frames = 0;
  float temperature = 0.0f;
  manual.frames = 0;
  // A table that is absent, because no shutter run has been made yet, is for loadFFC to report.
  if (regularFileSize(path) &&
      !calibration::peekFFC(path, device.width, device.height, frames, temperature)) {
    logger::error(format("'{:s}' is no flat-field table of this camera", path), LOG_HERE);
    return false;
  }
  if (!loadFFC(&manual.sums, frames, temperature, path)) return false;
  if (!calibration::isUsableFFC(frames, temperature)) return false;  // it changed between the two readings
  manual.frames = frames;
  manual.mean = calibration::levelOfTheMiddle(manual.sums, frames, processing.defects.list);
  return true;
}

bool imageAcquisition::loadPolynomials(const CalibrationPlaces& places) {
  auto& polynomials = processing.polynomials;
  polynomials = {};
  const std::string metadata = places.file("pffc", ".pffc");
  if (!regularFileSize(metadata)) return false;  // most cameras have none
  float lowestK = 0.0f, highestK = 0.0f;
  std::string formula;
  if (!loadPFFCMetadata(lowestK, highestK, formula, metadata)) return false;
  const PolynomialModel model = polynomialModel(formula);
  if (model == PolynomialModel::unknown) {
    logger::error(format("'{:s}' names no known formula", metadata), LOG_HERE);
    return false;
  }
  std::vector<ffcPixelPolyfit> table(std::size_t{device.width} * device.height);
  if (!calibration::loadPFFCGain(table.data(), formula, device.width, device.height,
                                 places.file("pffc", ".gpffc")) ||
      !calibration::loadPFFCOffset(table.data(), formula, device.width, device.height,
                                   places.file("pffc", ".opffc"))) {
    return false;
  }
  polynomials.model = model;
  polynomials.coefficients = std::move(table);
  return true;
}

bool imageAcquisition::loadFlatFieldTables() {
  flatFieldIndex = scanFlatFieldTables(calibrationPlaces());
  flatFieldIndex.failedUs = monotonicUs();
  // Tables that cannot be read are tried again when the correction is switched on.
  processing.flatField.twoTableFFC = !flatFieldIndex.points.empty();
  if (!processing.flatField.twoTableFFC) return false;
  processing.flatField.ffcMode = flatFieldIndex.twoReferences() ? 1 : 0;
  return _updateFFC(kUsualSensorK);
}

bool imageAcquisition::loadThermographicCorrection(imageAcquisition* acquisition, const std::string& path) {
  auto& table = acquisition->processing.radiometry.thermographicTable;
  table.resize(calibration::kThermographicEntries);
  for (std::size_t level = 0; level < table.size(); ++level) table[level] = static_cast<std::uint16_t>(level);
  return calibration::loadThermographicTable(
      std::span<std::uint16_t, calibration::kThermographicEntries>(table.data(), table.size()), path,
      LOG_HERE);
}

void imageAcquisition::loadCalibrationFiles() {
  const CalibrationPlaces places = calibrationPlaces();
  FlatFieldState& flatField = processing.flatField;
  Radiometry& radiometry = processing.radiometry;

  const bool hasMap = loadDefects(places);
  processing.defects.defectivePixelsCorrection = hasMap || lastPixelIsTemperature(device.width);
  flatField.flatFieldCorrection = loadManualTable(places);

  flatField.ffcSlot = 0;
  flatField.ffcMode = 0;
  if (loadPolynomials(places)) {
    flatField.ffcMode = 2;  // evaluated when the first sensor temperature comes
    flatField.twoTableFFC = flatField.shutterlessCorrection = true;
  } else {
    flatField.shutterlessCorrection = loadFlatFieldTables();
  }
  processing.calibration.autoFFC = settings::current().autoCalibration;

  const bool hasThermographicTable = loadThermographicCorrection(
      this, places.thermographicFile(radiometry.rangeMinK, radiometry.rangeSpanK));
  radiometry.radiometricCorrection = hasThermographicTable && flatField.twoTableFFC && flatField.ffcMode != 0;
}
