#pragma once

#include <cstdint>

#include "common/views.h"

namespace kernels {

/// Overwrites columns 0 .. width / 2 - 1 of `image` with those of `left`, an image of the same size.
void showLeftHalf(ImageView<const std::uint16_t> left, ImageView<std::uint16_t> image);

/// Draws x * y + frame * 1024, modulo 65536: a pattern that moves from frame to frame.
void drawTestPattern(ImageView<std::uint16_t> image, std::uint64_t frame);

}  // namespace kernels
