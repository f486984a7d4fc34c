// Keeps the flat-field tables, or the evaluated polynomials, in step with the sensor temperature.

#include <algorithm>
#include <chrono>
#include <cmath>

#include "acquisition/imageAcquisition.h"
#include "calibration/ffcFile.h"
#include "common/temperature.h"
#include "processing/calibrationRules.h"

namespace {

using namespace std::chrono_literals;

/// How far from the temperature they were evaluated at polynomials count as valid.
constexpr float kPolynomialValidityC = 0.01f;

std::int64_t monotonicUs() {
  return static_cast<std::int64_t>(std::chrono::steady_clock::now().time_since_epoch() / 1us);
}

struct LoadedTable {
  image<unsigned int> sums;
  std::uint16_t frames = 0;
};

bool loadTable(const std::string& path, std::uint16_t width, std::uint16_t height, LoadedTable& table) {
  float temperature = 0.0f;
  if (!calibration::peekFFC(path, width, height, table.frames, temperature)) return false;
  table.sums.allocate(width, height);
  return loadFFC(&table.sums, table.frames, temperature, path) &&
         calibration::isUsableFFC(table.frames, temperature);
}

/// The tables of a pair, read beside those in use.
struct LoadedPair {
  LoadedTable low[2];
  LoadedTable high[2];
  bool twoReferences = false;

  bool load(const FlatFieldIndex& index, TablePair pair, std::uint16_t width, std::uint16_t height) {
    const auto& coldPoint = index.points[pair.low];
    const auto& warmPoint = index.points[pair.high];
    twoReferences = index.twoReferences();
    const auto both = [&](int slot, const std::string& cold, const std::string& warm) {
      return loadTable(cold, width, height, low[slot]) && loadTable(warm, width, height, high[slot]);
    };
    return both(0, coldPoint.slot0, warmPoint.slot0) &&
           (!twoReferences || both(1, coldPoint.slot1, warmPoint.slot1));
  }

  /// Gives all tables the largest N, which the stages divide by; it loses nothing.
  std::uint16_t equaliseFrames() {
    std::uint16_t frames = 0;
    for (const auto* table : {&low[0], &high[0], &low[1], &high[1]}) frames = std::max(frames, table->frames);
    for (auto* table : {&low[0], &high[0], &low[1], &high[1]}) {
      if (table->frames != 0)
        calibration::rescaleSums({table->sums.data, table->sums.pixelCount()}, table->frames, frames);
    }
    return frames;
  }

  /// Puts the tables in force; this one is left with the earlier ones. Slot 1 is empty with one reference:
  /// tables of an earlier pair would have another N.
  void swapInto(processData<unsigned short>& data) {
    FlatFieldTables& tables = data.flatField.ffcTables;
    data.tableStage.pairTarget = {};
    data.tableStage.shifts.forget();
    data.tableStage.references.forget();
    data.slot0Low().swap(low[0].sums);
    tables.slot0High.swap(high[0].sums);
    tables.slot1Low.swap(low[1].sums);
    tables.slot1High.swap(high[1].sums);
  }
};

/// True when an automatic calibration has put its table in place of the pair's low one, at a sensor of
/// `lowC`, too warm for this temperature.
bool isColderThanCalibration(const FlatFieldIndex& index, float lowC, float temperatureC) {
  return index.loaded && lowC != index.points[index.loaded->low].temperatureC &&
         temperatureC < lowC - kTableHysteresisC;
}

}  // namespace

bool imageAcquisition::refreshPolynomials() {
  if (!updatePolyfit()) return false;
  CalibrationRun& validity = processing.calibration;
  const float evaluatedC = toCelsius(processing.polynomials.evaluatedK, 1.0f);
  validity.ffcLowTemperature = evaluatedC - kPolynomialValidityC;
  validity.ffcHighTemperature = evaluatedC + kPolynomialValidityC;
  processing.flatField.ffcTemperatureK = processing.polynomials.evaluatedK;
  return true;
}

bool imageAcquisition::_updateFFC(const float& sensorTemperatureK) {
  if (!std::isfinite(sensorTemperatureK)) return false;  // tells nothing about the tables in force
  FlatFieldState& flatField = processing.flatField;
  if (flatField.ffcMode == 2) return refreshPolynomials();

  const std::int64_t now = monotonicUs();
  if (flatFieldIndex.points.empty()) {
    if (now - flatFieldIndex.failedUs < tableScanPause / 1us) {
      // Too early to look again; the pause goes on from the failure, or impatient callers would extend it.
      flatField.shutterlessCorrection = false;
      return false;
    }
    flatFieldIndex = scanFlatFieldTables(calibrationPlaces());
  }
  const float temperatureC = toCelsius(sensorTemperatureK, 1.0f);
  CalibrationRun& validity = processing.calibration;
  if (isColderThanCalibration(flatFieldIndex, validity.ffcLowTemperature, temperatureC))
    flatFieldIndex.loaded.reset();
  const auto pair = chooseTables(flatFieldIndex.temperatures, temperatureC, flatFieldIndex.loaded);
  if (pair && pair == flatFieldIndex.loaded) return true;
  // A camera whose levels are radiometric needs both references; those of one would be another scale.
  const bool complete = flatField.ffcMode != 1 || flatFieldIndex.twoReferences();
  LoadedPair tables;
  if (!pair || !complete || !tables.load(flatFieldIndex, *pair, device.width, device.height)) {
    flatField.shutterlessCorrection = false;
    // What is known about the folders is no longer true; the next attempt looks again.
    flatFieldIndex = {};
    flatFieldIndex.failedUs = now;
    return false;
  }
  processing.tableFrames() = tables.equaliseFrames();
  tables.swapInto(processing);
  flatFieldIndex.loaded = pair;
  validity.ffcLowTemperature = flatFieldIndex.points[pair->low].temperatureC;
  validity.ffcHighTemperature = flatFieldIndex.points[pair->high].temperatureC;
  flatField.ffcMean = getFFCMean(processing.slot0Low(), processing.tableFrames());
  flatField.ffcTemperatureK = sensorTemperatureK;
  return true;
}
