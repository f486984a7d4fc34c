// Writes the scenes of the overlay test as PNG files into a directory.

#include <png.h>

#include <cstdio>
#include <string>

#include "core/logger.h"
#include "pictures/overlayScenes.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: overlay_pictures DIRECTORY\n");
    return 2;
  }
  logger::setConsoleSink([](std::string_view) {});
  for (const OverlayScene& scene : overlayScenes()) {
    const std::vector<rgb_24b> pixels = paintScene(scene);
    const std::string path = std::string(argv[1]) + "/" + scene.name + ".png";
    png_image file{};
    file.version = PNG_IMAGE_VERSION;
    file.width = scene.width;
    file.height = scene.height;
    file.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&file, path.c_str(), 0, pixels.data(), 0, nullptr) == 0) {
      std::fprintf(stderr, "cannot write '%s': %s\n", path.c_str(), file.message);
      return 1;
    }
  }
  return 0;
}
