#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "acquisition/backends/simulated/cameraModel.h"
#include "acquisition/backends/simulated/fixedPattern.h"
#include "calibration/ffcPixelPolyfit.h"
#include "common/image.h"

// What a calibration bench would measure on a simulated detector, worked out from its fixed pattern instead:
// exact means, so without noise. On the bench the housing is as warm as the detector, the pixels have not
// begun to drift and the columns are at rest; whatever differs later is for the other corrections to win.

namespace simulation {

inline constexpr std::uint16_t kBenchFrames = 32;
inline constexpr double kLowBlackBodyK = 298.15;   // reference of the "025" folder
inline constexpr double kHighBlackBodyK = 323.15;  // of the "050" folder
inline constexpr double kRangeMinK = 233.15;       // radiometric level 0
inline constexpr double kRangeSpanK = 262.14;      // kelvin up to level 65535

/// The sum of `kBenchFrames` frames of a black body, rounded, as each pixel gives it at a detector
/// temperature; dead and full-scale pixels stay at their ends, flickering ones lie above by their mean.
image<unsigned int> benchTable(const CameraModel& model, const FixedPattern& fixed,
                               std::span<const Defect> defects, double blackBodyK, double detectorCelsius);

/// Gain (counts per kelvin on the scale that is linear between the two black bodies) and offset (the level at
/// 0 K of that scale) as polynomials of the detector temperature: g0, g1 and o0 to o2; g2 and o3 stay 0.
std::vector<ffcPixelPolyfit> benchPolynomials(const CameraModel& model, const FixedPattern& fixed);

/// Entry p: the level of the true temperature when the scale through both black bodies, linear in radiance,
/// says p. Level 0 where no black body radiates so little. 65,536 entries.
std::vector<std::uint16_t> benchThermographicTable();

/// (x, y) of the defective pixels, by row. The last pixel is one of them where it carries the sensor
/// temperature.
std::vector<std::pair<int, int>> benchDefects(const CameraModel& model, std::span<const Defect> defects);

}  // namespace simulation
