#pragma once

#include <cstdint>
#include <vector>

#include "acquisition/backends/simulated/scene.h"

namespace simulation {

/// Plays pictures from files, resampled to the sensor without changing their shape (what sticks out is cut).
class FileScene : public Scene {
 public:
  /// `spec` holds at least one picture.
  FileScene(const SceneSpec& spec, const CameraModel& model);
  RadianceView at(std::uint64_t frame) override;

 private:
  std::vector<std::vector<float>> pictures;  ///< band radiance, sensor size
  std::uint32_t width;
  std::uint32_t holdFrames;
};

}  // namespace simulation
