#pragma once

#include <cstdint>

#include "common/rgb.h"
#include "common/views.h"
#include "presentation/ColorTable.h"

/// The stripe count that a frame of `height` rows is cut into, from the processing-unit setting: 1 to 1024,
/// and not more than rows.
unsigned colorStripeCount(std::int32_t processingUnits, std::uint32_t height);

/// Paints `levels` into `colors` in `stripes` tasks of floor(height / stripes) rows on `processingPool`
/// (inline without a pool) and waits for all of them. The last height mod stripes rows keep the colours they
/// have, on purpose. Both images have the same size; stripes is 1 to 1024. Allocates nothing itself.
void paintStripes(ImageView<const std::uint16_t> levels, ImageView<rgb_24b> colors, const ColorTable& table,
                  unsigned stripes);
