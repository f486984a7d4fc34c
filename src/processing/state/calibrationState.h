#pragma once

#include <cstdint>
#include <vector>

#include "calibration/ffcPixelPolyfit.h"
#include "common/image.h"

/// The table of the manual flat-field stage, made by a shutter run or loaded from "ffc/". N 0: none.
struct ManualTable {
  image<unsigned int> sums;
  std::uint16_t frames = 0;  ///< N
  std::uint32_t mean = 0;    ///< mean level of one frame: what the corrected picture keeps

  bool usable() const { return frames != 0 && !sums.empty(); }
};

/// A calibration sums into `ffcAccumulator`, which is slot 0's low table: that one waits here meanwhile.
struct KeptTable {
  image<unsigned int> slot0Low;  ///< spare pixels while nothing is borrowed
  std::uint16_t frames = 0;      ///< N of the tables, while `ffcFramesToTake` is the run's
  bool borrowed = false;

  // What an automatic calibration that is cancelled puts back.
  float lowTemperature = 0.0f;
  bool shutterlessCorrection = false;
};

/// What a shutter run gathers beside the sums.
struct ShutterSums {
  double temperature = 0.0;  ///< degrees Celsius, summed
};

/// Polynomials of the sensor temperature, one record per pixel; empty until loaded.
struct PolynomialFlatField {
  std::vector<ffcPixelPolyfit> coefficients;
  PolynomialModel model = PolynomialModel::unknown;
  float evaluatedK = 0.0f;  ///< sensor temperature of the last evaluation
  bool evaluated = false;   ///< there was one; until then the next is due at any temperature
};
