#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/cameraModel.h"
#include "acquisition/backends/simulated/detector.h"
#include "acquisition/backends/simulated/pgm.h"

namespace simulation {

enum class SceneKind { Uniform, Room, Ramp, Coded, File };

/// How the values of a file scene become a scene.
enum class FileValues {
  Counts,  ///< value * scale + offset is what an ideal detector of the model answers
  Kelvin,  ///< value * scale + offset is the scene's temperature in kelvin
  Raw,     ///< value * scale + offset is what a detector answered; the simulated one adds nothing to it
  Fit      ///< the 0.1 and 99.9 % values of all pictures become the temperatures fitLow and fitHigh
};

struct SceneSpec {
  SceneKind kind = SceneKind::Room;
  double celsius = 25.0;  ///< of the uniform scene
  // File scene: pictures in playing order, each shown for `holdFrames` frames.
  std::shared_ptr<const std::vector<GreyPicture>> pictures;
  std::shared_ptr<const std::vector<GreyPicture>> shutter;  ///< what a raw scene's closed shutter looks like
  FileValues values = FileValues::Counts;
  double scale = 1.0;
  double offset = 0.0;
  double fitLowCelsius = 10.0;
  double fitHighCelsius = 35.0;
  std::uint32_t holdFrames = 1;

  /// Frames of a real detector, which take the simulated one's place.
  bool isRaw() const {
    return kind == SceneKind::File && values == FileValues::Raw && pictures && !pictures->empty();
  }
};

/// What the camera looks at, seen through its lens. One thread at a time.
class Scene {
 public:
  virtual ~Scene() = default;
  /// The scene at a frame; the view is valid until the next call.
  virtual RadianceView at(std::uint64_t frame) = 0;
};

/// The scene of `spec` for a model's sensor; never null. Holds the pictures of a file scene resampled.
std::unique_ptr<Scene> makeScene(const SceneSpec& spec, const CameraModel& model);

/// The value of a pixel of the coded scene, which bypasses the detector so that every count is known:
/// row 0 starts with the frame number, 14 bits in pixel 0 and the next 14 in pixel 1, the rest of it is 0;
/// below it stands (7 x + 131 y + 17 frame) mod 16384.
std::uint16_t codedCount(std::uint32_t x, std::uint32_t y, std::uint64_t frame);

/// Reads the pictures of a file scene: one PGM, or all "*.pgm" of a folder in the order of their names (at
/// most 256). An empty text means success, otherwise it names the file and the reason.
std::string loadPictures(const std::string& path, std::shared_ptr<const std::vector<GreyPicture>>& pictures);

}  // namespace simulation
