#pragma once

#include <string>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "acquisition/backends/simulated/scenario.h"

namespace simulation {

/// Form of the polynomial files. Both say the same; a camera has one set of names, so a directory holds one
/// form.
enum class PolynomialFiles {
  None,
  CubicBinary,   ///< the cubic model
  QuadraticText  ///< the quadratic-offset model; a line per pixel, so large and slow
};

struct CalibrationSetOptions {
  bool tables = true;  ///< flat-field tables of both black bodies
  PolynomialFiles polynomial = PolynomialFiles::None;
};

/// Writes a simulated camera's calibration files into a data directory, which is created when missing: the
/// map of defective pixels, the thermographic table, and what the options ask for. All come from the pattern
/// that the camera's frames show, whatever scene, temperature or age the camera has now; of a raw scene's
/// detector only the defective pixels are known. False, with one error line, when a file cannot be written in
/// full. Cameras of other serial numbers may share the directory.
bool writeCalibrationSet(const CameraSpec& camera, const std::string& directory,
                         const CalibrationSetOptions& options = {});
bool writeCalibrationSet(const SimulatedCamera& camera, const std::string& directory,
                         const CalibrationSetOptions& options = {});

/// True when every file of such a set is there, as large as it must be.
bool hasCalibrationSet(const CameraSpec& camera, const std::string& directory,
                       const CalibrationSetOptions& options = {});

}  // namespace simulation
