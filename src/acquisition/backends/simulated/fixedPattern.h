#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "acquisition/backends/simulated/cameraModel.h"

namespace simulation {

struct DetectorOptions {
  std::uint64_t seed = 0;  ///< of this very detector: scenario seed and serial number
  double pattern = 1.0;    ///< scales every fixed-pattern spread; 0 = all pixels alike
  bool defects = true;
};

enum class DefectKind : std::uint8_t { Dead, FullScale, Flickering };
struct Defect {
  std::uint32_t pixel = 0;  ///< y * width + x
  DefectKind kind = DefectKind::Dead;
};

inline constexpr std::uint32_t kFullScale = 16383;    // of a 14-bit count
inline constexpr std::uint32_t kFlickerCounts = 250;  // that a flickering pixel is now and then too high
inline constexpr std::uint64_t kFlickerChance = 0x4CCCCCCCCCCCCCCDULL;  // 0.3 * 2^64

/// What makes the pixels of one detector differ, for its whole life: one value per pixel, row by row. With d
/// the detector temperature minus 298.15 K, a pixel that sees the radiance phi gives
///   baseCounts + offset + (model.linearDrift + linearDrift) d + (model.quadraticDrift + quadraticDrift) d^2
///   + gain (1 + gainDrift d) phi
/// counts, without what time, housing and noise add.
struct FixedPattern {
  std::vector<float> offset;          ///< counts, with the columns' share
  std::vector<float> gain;            ///< counts per equivalent kelvin at 298.15 K, the responsivity included
  std::vector<float> gainDrift;       ///< per kelvin, the common part included
  std::vector<float> linearDrift;     ///< counts per kelvin, beyond the model's
  std::vector<float> quadraticDrift;  ///< counts per square kelvin, beyond the model's
};

/// The pattern that the seed gives: the same for every detector with these options.
FixedPattern makeFixedPattern(const CameraModel& model, const DetectorOptions& options);

/// The defective pixels of a detector, by pixel: 0.1 % dead, 0.05 % at full scale, 0.05 % flickering.
std::vector<Defect> scatterDefects(const CameraModel& model, std::uint64_t seed);

/// `count` gaussian values of mean 0.
std::vector<float> gaussianField(std::size_t count, double spread, std::uint64_t seed);

}  // namespace simulation
