// Opens the first camera, fetches ten colour frames and writes the last one as a PPM picture.
//
//   firstFrames [FILE]      FILE: default first.ppm
//
// Without a camera: OMBRIX_BACKEND=simulated OMBRIX_SIMULATION=bramble6 firstFrames

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

int main(int argc, char** argv) {
  OmbrixSDK sdk;
  if (sdk.getDeviceCount() == 0) {
    std::fputs("no camera found\n", stderr);
    return 1;
  }
  std::printf("opening %s\n", sdk.getDeviceName(0).c_str());
  Ombrix camera(0);

  std::uint64_t width = 0, height = 0;
  camera.getImageSize(width, height);
  std::vector<std::uint8_t> picture(width * height * 3);  // red, green, blue
  Ombrix::metadata metadata;
  for (int i = 0; i < 10; ++i) {
    if (!camera.getColorFrame(picture.data(), &metadata, 2000)) {
      std::fprintf(stderr, "no frame: %s\n", camera.getErrorText().c_str());
      return 1;
    }
    std::printf("frame %llu, sensor at %.2f K\n", static_cast<unsigned long long>(metadata.frameNumber),
                static_cast<double>(metadata.sensorTemperature));
  }

  std::ofstream file(argc > 1 ? argv[1] : "first.ppm", std::ios::binary);
  file << "P6\n" << width << ' ' << height << "\n255\n";
  file.write(reinterpret_cast<const char*>(picture.data()), static_cast<std::streamsize>(picture.size()));
  file.close();
  if (!file) {
    std::fputs("the picture could not be written\n", stderr);
    return 1;
  }
  return 0;
}
