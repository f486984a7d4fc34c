#pragma once

#include <string>

namespace tools {

/// The data directory with calibration files for one camera of a scenario: made on first use in the user's
/// cache directory, found there later. Any number of processes may ask at once.
/// simulateText: what `simulate` takes.  cameraIndex: as cameras are listed.  polynomial: with polynomial
/// files (cubic model), in a directory of their own, because cameras use polynomials whenever they are there.
/// Empty when there is no such camera, and, with one line on standard error, when the files cannot be made:
/// the camera then works without. That the set has no table of a shutter run is left out of the log. Call it
/// once the logger has its level, or each file is reported.
std::string defaultCalibrationDirectory(const std::string& simulateText, int cameraIndex, bool polynomial);

}  // namespace tools
