#pragma once

#include <string>
#include <vector>

#include "acquisition/flatFieldIndex.h"

namespace tools {

/// What one kind of calibration file is like on disk.
struct FileFinding {
  enum class State { Absent, Good, Odd, Bad };
  State state = State::Absent;
  std::string path;  ///< of the file, or of the one at fault; where it was looked for when absent
  std::string text;  ///< what was found there
};

/// The calibration files of one camera.
struct CalibrationAudit {
  FileFinding defects;        ///< map of the defective pixels
  FileFinding manualTable;    ///< of the last shutter run
  FileFinding tables;         ///< flat-field tables of both references
  FileFinding polynomials;    ///< metadata, gain and offset
  FileFinding thermographic;  ///< level to temperature
};

/// Reads every calibration file of a camera whole, as opening it would, and looks at each value. What does
/// not fit is found, and logged by the loaders. With one Hollis 12's tables that is some 50 MB.
/// rangeMinK, rangeSpanK: of the radiometric scale; part of the thermographic file's name.
CalibrationAudit auditCalibration(const CalibrationPlaces& places, float rangeMinK, float rangeSpanK);

}  // namespace tools
