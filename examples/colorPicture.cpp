// Writes the colour view of the first camera as a PNG file.
//
//   colorPicture [FILE [PRESET]]      FILE: default picture.png; PRESET: number of a colour preset, default 0
//
// Without a camera: OMBRIX_BACKEND=simulated OMBRIX_SIMULATION=bramble6 colorPicture

#include <png.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

namespace {

/// The first frames of a stream are empty or not yet adjusted to the scene.
constexpr int kSettlingFrames = 10;

bool writePng(const char* path, const std::vector<std::uint8_t>& rgb, std::uint64_t width,
              std::uint64_t height) {
  png_image description = {};
  description.version = PNG_IMAGE_VERSION;
  description.width = static_cast<png_uint_32>(width);
  description.height = static_cast<png_uint_32>(height);
  description.format = PNG_FORMAT_RGB;
  return png_image_write_to_file(&description, path, 0, rgb.data(), 0, nullptr) != 0;
}

}  // namespace

int main(int argc, char** argv) {
  const char* const path = argc > 1 ? argv[1] : "picture.png";
  OmbrixSDK sdk;
  if (sdk.getDeviceCount() == 0) {
    std::fputs("no camera found\n", stderr);
    return 1;
  }
  Ombrix camera(0);
  int preset = argc > 2 ? std::atoi(argv[2]) : 0;
  camera.setColorPreset(preset);  // the index that was selected comes back

  std::uint64_t width = 0, height = 0;
  camera.getImageSize(width, height);
  std::vector<std::uint8_t> picture(width * height * 3);  // red, green, blue
  for (int i = 0; i < kSettlingFrames; ++i) {
    if (!camera.getColorFrame(picture.data(), nullptr, 2000)) {
      std::fprintf(stderr, "no frame: %s\n", camera.getErrorText().c_str());
      return 1;
    }
  }
  if (!writePng(path, picture, width, height)) {
    std::fprintf(stderr, "%s cannot be written\n", path);
    return 1;
  }
  std::printf("%s: %llu x %llu pixels, preset %d\n", path, static_cast<unsigned long long>(width),
              static_cast<unsigned long long>(height), preset);
  return 0;
}
