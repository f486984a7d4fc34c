#include "processing/kernels/levelShift.h"

#include <algorithm>
#include <cstddef>

#include "common/vectorised.h"

namespace kernels {

void shiftLevels(ImageView<const std::uint16_t> from, ImageView<std::uint16_t> to, std::int32_t offset) {
  OMBRIX_INDEPENDENT_ROUNDS
  for (std::size_t i = 0; i < to.pixelCount(); ++i) {
    to.data[i] = static_cast<std::uint16_t>(std::clamp(from.data[i] + offset, 0, 65535));
  }
}

}  // namespace kernels
