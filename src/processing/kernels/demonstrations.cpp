#include "processing/kernels/demonstrations.h"

#include <algorithm>

namespace kernels {

void showLeftHalf(ImageView<const std::uint16_t> left, ImageView<std::uint16_t> image) {
  for (std::uint32_t y = 0; y < image.height; ++y) std::copy_n(left.row(y), image.width / 2, image.row(y));
}

void drawTestPattern(ImageView<std::uint16_t> image, std::uint64_t frame) {
  const auto offset = static_cast<std::uint32_t>(frame * 1024 % 65536);
  for (std::uint32_t y = 0; y < image.height; ++y) {
    for (std::uint32_t x = 0; x < image.width; ++x) {
      image.at(x, y) = static_cast<std::uint16_t>((x * y + offset) % 65536);
    }
  }
}

}  // namespace kernels
