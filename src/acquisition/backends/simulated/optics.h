#pragma once

#include <cstdint>

#include "common/views.h"

namespace simulation {

/// Part of an image: columns [left, right), rows [top, bottom).
struct Region {
  std::uint32_t left = 0, top = 0, right = 0, bottom = 0;
  bool empty() const { return left >= right || top >= bottom; }
};

/// `region` with a margin, cut at the edges of a width x height image.
Region grown(const Region& region, std::uint32_t margin, std::uint32_t width, std::uint32_t height);

/// The smallest region that covers both; an empty one does not count.
Region united(const Region& a, const Region& b);

inline constexpr std::uint32_t kBlurReach = 2;  ///< pixels that one blurred pixel sees to each side

/// Blurs `region` of `sharp` into `blurred` as the lens does: a gaussian of 0.6 pixels, edges repeated.
void blur(ImageView<const float> sharp, ImageView<float> blurred, const Region& region);

}  // namespace simulation
