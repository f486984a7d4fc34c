#include "processing/kernels/levelShift.h"

#include <algorithm>

namespace kernels {

void shiftLevels(ImageView<std::uint16_t> image, std::int32_t offset) {
  for (std::uint16_t& pixel : image.pixels()) {
    pixel = static_cast<std::uint16_t>(std::clamp(pixel + offset, 0, 65535));
  }
}

}  // namespace kernels
