// An application of somebody else, in the oldest C++ that the headers promise: is the installed library the
// one of the headers, and does it find its fonts? Exit code 0 when both are so.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"
#include "ombrix/version.h"

namespace {

constexpr int kFrames = 5;

/// White pixels of a colour frame; -1 when none came. Texts are white, the first preset is never quite.
int whitePixels(Ombrix& camera) {
  std::uint64_t width = 0, height = 0;
  camera.getImageSize(width, height);
  std::vector<std::uint8_t> picture(width * height * 3);
  for (int i = 0; i < kFrames; ++i) {
    if (!camera.getColorFrame(picture.data(), nullptr, 10000)) return -1;
  }
  int count = 0;
  for (std::size_t i = 0; i < picture.size(); i += 3) {
    count += picture[i] == 255 && picture[i + 1] == 255 && picture[i + 2] == 255;
  }
  return count;
}

}  // namespace

int main() {
  std::printf("headers %s, library %s\n", OMBRIX_VERSION, ombrixVersion());
  if (std::strcmp(OMBRIX_VERSION, ombrixVersion()) != 0) return 1;
  OmbrixSDK sdk(OmbrixSDK::verbosityWarnings);
  if (sdk.getDeviceCount() == 0) return 1;
  Ombrix camera(0);
  const int before = whitePixels(camera);
  sdk.parseCoreParameter("displaySensorSerial");
  const int after = whitePixels(camera);
  std::printf("white pixels: %d, and %d with a text\n", before, after);
  return before == 0 && after > 100 ? 0 : 1;
}
