#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "acquisition/backends/simulated/fixedPattern.h"
#include "acquisition/backends/simulated/scene.h"

namespace simulation {

/// Frames of a real detector, played as they are: they bring a fixed pattern, noise and defects of their own,
/// so nothing is resampled, blurred or added. The picture stands in the middle of the sensor; where the
/// sensor is larger the picture goes on as its mirror image, which has the same columns of pixels, and where
/// it is smaller the picture is cut.
class RawScene {
 public:
  /// `spec` holds at least one picture.
  RawScene(const SceneSpec& spec, const CameraModel& model);

  /// The counts of a frame, sensor size. With the shutter closed the picture of the shutter, or the model's
  /// base level everywhere when there is none.
  std::span<const std::uint16_t> at(std::uint64_t frame, bool shutterClosed) const;

 private:
  std::vector<std::vector<std::uint16_t>> frames;
  std::vector<std::uint16_t> shutter;
  std::uint32_t holdFrames;
};

/// Where sensor column (or row) `place` of `sensor` lies in a picture with `picture` columns.
std::uint32_t rawPlace(std::uint32_t place, std::uint32_t sensor, std::uint32_t picture);

/// The sensor's pixels, in order, that give no signal in a raw scene: 0 or full scale in the picture of the
/// shutter, or in the first one when there is none.
std::vector<Defect> rawDefects(const SceneSpec& spec, const CameraModel& model);

}  // namespace simulation
