#pragma once

#include <cstdint>

#include "common/rgb.h"
#include "common/views.h"
#include "presentation/ColorTable.h"

namespace kernels {

/// Paints rows [firstRow, lastRow) of `levels` into the same rows of `colors`, one lookup per pixel. Writes
/// no byte outside these rows, so bands may run side by side. Both images have the same size.
void colorizeRows(ImageView<const std::uint16_t> levels, ImageView<rgb_24b> colors, const ColorTable& table,
                  std::uint32_t firstRow, std::uint32_t lastRow);

}  // namespace kernels
