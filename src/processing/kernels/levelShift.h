#pragma once

#include <cstdint>

#include "common/views.h"

namespace kernels {

/// Adds `offset` to every level, in place; results are limited to 0..65535.
void shiftLevels(ImageView<std::uint16_t> image, std::int32_t offset);

}  // namespace kernels
