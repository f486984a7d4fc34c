#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "acquisition/imageAcquisition.h"
#include "core/frameMutex.h"
#include "tools/common/stageFigures.h"

namespace tools {

/// The corrections in the order of the pipeline; stage 0 is the picture as it comes.
inline constexpr const char* kCorrections[] = {
    "raw",         "defects, first pass", "flat field",          "column stripes",
    "row stripes", "manual flat field",   "thermographic table", "defects, second pass"};
inline constexpr std::size_t kCorrectionCount = std::size(kCorrections);
inline constexpr std::size_t kFirstRadiometric =
    2;  // its levels, and those of all after it, are temperatures

/// What the shutter runs look at.
enum class FlatFieldReference {
  BlackBody,  ///< of 30 degC
  Shutter     ///< the camera's own, whose temperature rises by 0.05 K from left to right
};

/// A simulated camera that is stepped frame by frame through the pipeline as everyone gets it, with a look at
/// the picture after each stage. Needs an `OmbrixSDK` object.
class PipelineBench {
 public:
  /// Told of the picture after a stage.
  using Look = std::function<void(std::size_t stage, const image<unsigned short>& picture)>;

  static constexpr int kSettlingFrames = 24;  // the column correction averages over about eight
  static constexpr double kReferenceC = 30.0;

  /// data: directory of calibration files. Throws std::runtime_error when they do not serve.
  PipelineBench(const simulation::CameraSpec& spec, const std::string& data);

  /// One frame through the corrections, then through the temporal filter (stage kCorrectionCount), of levels
  /// before gain control, so that they are still temperatures. `look` may be empty.
  void correct(const Look& look);
  void settle() { repeat(kSettlingFrames); }
  /// Settles before the reference, makes the manual table of 32 frames of a black body or 64 of the
  /// shutter, opens the shutter again.
  void runShutter(FlatFieldReference reference);
  /// Takes a frame as `correct` does, and one as the driver's `process` does; throws unless they are equal.
  void compareWithDriver();
  /// One frame through the whole pipeline. After the corrections come gain control (kCorrectionCount), the
  /// temporal (+ 1) and the spatial filter (+ 2). Not to be mixed with `correct`, but for `settle` first.
  void present(const Look& look);

  static simulation::SceneSpec blackBody(double celsius);

  simulation::SimulatedCamera camera;
  imageAcquisition acquisition;
  std::vector<PixelKind> kinds;  ///< one per pixel

 private:
  void classifyPixels();
  void repeat(int frames);
  void fetch() REQUIRES(frameMutex);
  void runCorrections(const Look& look) REQUIRES(frameMutex);

  std::vector<std::uint8_t> sample;
  std::uint64_t number = 0;
};

}  // namespace tools
