// The overlays, pixel for pixel, against pictures that were looked at. tests/pictures/generate makes new
// ones.

#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <string>

#include "pictures/overlayScenes.h"

namespace {

struct GoldenPicture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<rgb_24b> pixels;
};

GoldenPicture readGolden(const std::string& name) {
  const std::string path = OMBRIX_SOURCE_DIR "/tests/golden/overlays/" + name + ".png";
  png_image file{};
  file.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&file, path.c_str()) == 0) return {};
  file.format = PNG_FORMAT_RGB;
  GoldenPicture picture{file.width, file.height, std::vector<rgb_24b>(std::size_t{file.width} * file.height)};
  if (png_image_finish_read(&file, nullptr, picture.pixels.data(), 0, nullptr) == 0) return {};
  return picture;
}

class OverlayPictures : public testing::TestWithParam<OverlayScene> {};

TEST_P(OverlayPictures, AreTheOnesThatWereLookedAt) {
  const OverlayScene& scene = GetParam();
  const GoldenPicture golden = readGolden(scene.name);
  ASSERT_EQ(golden.width, scene.width);
  ASSERT_EQ(golden.height, scene.height);
  const std::vector<rgb_24b> painted = paintScene(scene);
  ASSERT_EQ(painted.size(), golden.pixels.size());
  const auto [here, there] = std::mismatch(painted.begin(), painted.end(), golden.pixels.begin());
  const auto index = here - painted.begin();
  EXPECT_EQ(here, painted.end()) << "first at column " << index % scene.width << ", row "
                                 << index / scene.width;
}

INSTANTIATE_TEST_SUITE_P(Scenes, OverlayPictures,
                         testing::ValuesIn(overlayScenes().begin(), overlayScenes().end()),
                         [](const auto& scene) { return "Scene_" + std::string(scene.param.name); });

}  // namespace
