#pragma once

#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

#include "common/image.h"
#include "processing/kernels/defectivePixels.h"
#include "processing/state/StripeState.h"

/// Zero kelvin in degrees Celsius: "no temperature yet" in calibration bookkeeping.
constexpr float kAbsoluteZeroC = -273.15f;

/// What levels mean once the image is radiometric: level p stands for rangeMinK + rangeSpanK * p / 65535.
struct Radiometry {
  float rangeMinK = 233.15f;
  float rangeSpanK = 262.14f;  ///< 4 mK per level
  float emissivity = 1.0f;
  bool radiometricCorrection = false;             ///< gates the thermographic correction
  std::vector<std::uint16_t> thermographicTable;  ///< empty until loaded
};

/// The defective-pixel passes.
struct Defects {
  bool defectivePixelsCorrection = false;
  bool blankDefectivePixels = false;      ///< show repaired pixels black
  std::vector<std::pair<int, int>> list;  ///< x, y in file order; what applications read
  neighbourTable defectNeighbourTable;    ///< built by the first pass, then only read
};

/// Tables beside `ffcAccumulator`, which is the low table of slot 0. Empty until loaded.
struct FlatFieldTables {
  image<unsigned int> slot0High;
  image<unsigned int> slot1Low;
  image<unsigned int> slot1High;
  image<float> polynomialGain;
  image<float> polynomialOffset;
};

/// Flat-field (non-uniformity) correction with tables or polynomials.
struct FlatFieldState {
  bool shutterlessCorrection = false;  ///< gates table correction, refresh and thermographic correction
  std::atomic<bool> flatFieldCorrection{false};  ///< gates the manual flat-field stage; a run clears it
  bool twoTableFFC = false;      ///< a pair of tables per slot, refreshed with the sensor temperature
  std::int32_t ffcMode = 0;      ///< 0 pair with weight, 1 four tables, 2 polynomials
  std::uint16_t ffcSlot = 0;     ///< 0 or 1
  std::uint32_t ffcMean = 0;     ///< mean level of the calibration table
  float ffcWeight = 0.0f;        ///< position between low and high table, 0 to 1
  float ffcTemperatureK = 0.0f;  ///< of the tables in use
  FlatFieldTables ffcTables;

  /// Whether the flat field makes levels stand for temperatures.
  bool radiometric() const { return shutterlessCorrection && twoTableFFC && (ffcMode == 1 || ffcMode == 2); }
};

/// A flat-field calibration: frames of a uniform scene summed into `ffcAccumulator`.
struct CalibrationRun {
  bool autoFFC = false;                        ///< calibrate when the sensor warms
  bool saveCalibrationAt25 = false;            ///< file the result under the 25 degC folder
  bool saveCalibrationAt50 = false;            ///< file the result under the 50 degC folder
  bool ffcCalibrating = false;                 ///< frames are being summed
  std::atomic<bool> shutterFFCRunning{false};  ///< a run asked for by the application is in progress
  std::uint16_t ffcFramesTaken = 0;
  std::uint16_t ffcFramesToTake = 32;
  float ffcLowTemperature = kAbsoluteZeroC;      ///< degC; a sum during a run, then the validity's lower end
  float ffcHighTemperature = kAbsoluteZeroC;     ///< degC; upper end of the validity
  float ffcTriggerTemperature = kAbsoluteZeroC;  ///< degC at the last automatic calibration
};

/// Removal of column and row stripes.
struct Destriping {
  std::int32_t columnDestripingPasses = 4;  ///< 0 = off
  std::int32_t rowDestripingPasses = 2;     ///< 0 = off
  float strength = 0.25f;  ///< weight of a frame in the column corrections; scales the rows' gain
  ColumnStripeState columns;
  RowStripeState rows;
};
