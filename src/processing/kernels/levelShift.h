#pragma once

#include <cstdint>

#include "common/views.h"

namespace kernels {

/// Adds `offset` to every level; results are limited to 0..65535.  from, to: of one size; may be the same
/// image, must not overlap otherwise.
void shiftLevels(ImageView<const std::uint16_t> from, ImageView<std::uint16_t> to, std::int32_t offset);
/// The same in place.
inline void shiftLevels(ImageView<std::uint16_t> image, std::int32_t offset) {
  shiftLevels(image, image, offset);
}

}  // namespace kernels
