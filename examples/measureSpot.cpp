// Measures the temperature of a spot: the mean of 5 x 5 pixels, for a surface of known emissivity.
//
//   measureSpot DATA X Y [EMISSIVITY]      DATA: directory of the camera's calibration files; EMISSIVITY:
//   default 0.95
//
// Without a camera, files for a simulated one first:
//   ombrix-calibration-set bramble6 calibrated
//   OMBRIX_BACKEND=simulated OMBRIX_SIMULATION='bramble6;scene=uniform;temperature=50' measureSpot calibrated
//   320 240 1

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

namespace {

constexpr int kRadius = 2;
/// The corrections follow the sensor temperature within half a dozen frames.
constexpr int kSettlingFrames = 20;
constexpr int kReadings = 10;

float meanOfSpot(Ombrix& camera, int x, int y, float emissivity) {
  float sum = 0.0f;
  for (int dy = -kRadius; dy <= kRadius; ++dy) {
    for (int dx = -kRadius; dx <= kRadius; ++dx)
      sum += camera.getPixelTemperature(x + dx, y + dy, emissivity);
  }
  constexpr int side = 2 * kRadius + 1;
  return sum / static_cast<float>(side * side);
}

bool waitForFrames(Ombrix& camera, int count) {
  for (int i = 0; i < count; ++i) {
    if (camera.getRawFrame(nullptr, nullptr, 2000)) continue;
    std::fprintf(stderr, "no frame: %s\n", camera.getErrorText().c_str());
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fputs("measureSpot DATA X Y [EMISSIVITY]\n", stderr);
    return 2;
  }
  const int x = std::atoi(argv[2]), y = std::atoi(argv[3]);
  const float emissivity = argc > 4 ? std::strtof(argv[4], nullptr) : 0.95f;

  OmbrixSDK sdk;
  if (sdk.getDeviceCount() == 0) {
    std::fputs("no camera found\n", stderr);
    return 1;
  }
  Ombrix camera(0, argv[1]);
  std::uint64_t width = 0, height = 0;
  camera.getImageSize(width, height);
  if (x < kRadius || y < kRadius || static_cast<std::uint64_t>(x) + kRadius >= width ||
      static_cast<std::uint64_t>(y) + kRadius >= height) {
    std::fputs("the spot is not in the picture\n", stderr);
    return 2;
  }

  // The corrections are on from the start when the camera's files are there. Without them its levels are no
  // temperatures.
  if (!camera.getShutterlessCorrection()) {
    std::fprintf(stderr, "no calibration files for this camera in %s\n", argv[1]);
    return 1;
  }
  if (!waitForFrames(camera, kSettlingFrames)) return 1;
  for (int i = 0; i < kReadings; ++i) {
    if (!waitForFrames(camera, 1)) return 1;
    std::printf("%.2f C\n", static_cast<double>(meanOfSpot(camera, x, y, emissivity)));
  }
  return 0;
}
