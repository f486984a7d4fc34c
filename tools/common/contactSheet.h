#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "common/rgb.h"
#include "common/views.h"

namespace tools {

/// A picture that owns its pixels, row by row.
struct Picture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<rgb_24b> pixels;

  ImageView<const rgb_24b> view() const { return {pixels.data(), width, height}; }
};

/// The levels below which `lowShare` and `highShare` of the counted pixels lie (shares 0 to 1). counts: of
/// every level, as a frame's histogram. Bounds by rank ignore the few dead pixels that would flatten the
/// picture between minimum and maximum. Without a count: 0 and 65535.
std::pair<std::uint16_t, std::uint16_t> levelBounds(std::span<const std::uint32_t> counts, double lowShare,
                                                    double highShare);

/// A raw frame as grey picture: low becomes black, high white, linear between.
Picture stretchLinear(const std::vector<std::uint16_t>& levels, std::uint32_t width, std::uint32_t height,
                      std::uint16_t low, std::uint16_t high);

/// Pairs of pictures, a row for each pair, every picture brought to `cellWidth` columns. Sizes must be whole
/// multiples or fractions of it.
Picture contactSheet(const std::vector<std::pair<Picture, Picture>>& rows, std::uint32_t cellWidth);

}  // namespace tools
