#include "tools/common/contactSheet.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "common/numerics.h"

namespace tools {
namespace {

constexpr std::uint32_t kGap = 8;  // pixels between the cells

/// Mean of the source pixels under one target pixel; a single one when the picture is enlarged.
rgb_24b sample(const Picture& source, std::uint32_t x, std::uint32_t y, std::uint32_t cellWidth) {
  const std::uint32_t block = std::max(source.width / cellWidth, 1u);
  const std::uint32_t left = x * source.width / cellWidth;
  const std::uint32_t top = y * source.width / cellWidth;
  std::array<unsigned, 3> sum{};
  for (std::uint32_t row = 0; row < block; ++row) {
    for (std::uint32_t column = 0; column < block; ++column) {
      const rgb_24b& pixel = source.view().at(left + column, top + row);
      sum[0] += pixel.r;
      sum[1] += pixel.g;
      sum[2] += pixel.b;
    }
  }
  const unsigned count = block * block;
  return {static_cast<std::uint8_t>(sum[0] / count), static_cast<std::uint8_t>(sum[1] / count),
          static_cast<std::uint8_t>(sum[2] / count)};
}

std::uint32_t cellHeight(const Picture& picture, std::uint32_t cellWidth) {
  return picture.height * cellWidth / picture.width;
}

void paste(const Picture& source, Picture& sheet, std::uint32_t left, std::uint32_t top,
           std::uint32_t cellWidth) {
  for (std::uint32_t y = 0; y < cellHeight(source, cellWidth); ++y) {
    for (std::uint32_t x = 0; x < cellWidth; ++x) {
      sheet.pixels[std::size_t{top + y} * sheet.width + left + x] = sample(source, x, y, cellWidth);
    }
  }
}

}  // namespace

std::pair<std::uint16_t, std::uint16_t> levelBounds(std::span<const std::uint32_t> counts, double lowShare,
                                                    double highShare) {
  const std::uint64_t total = std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
  if (total == 0) return {std::uint16_t{0}, std::uint16_t{65535}};
  const auto atShare = [&](double share) {
    const std::uint64_t rank = truncateToU32(share * static_cast<double>(total - 1));
    std::uint64_t below = 0;
    std::size_t level = 0;
    while (level + 1 < counts.size() && below + counts[level] <= rank) below += counts[level++];
    return saturateToU16(static_cast<std::int64_t>(level));
  };
  return {atShare(lowShare), atShare(highShare)};
}

Picture stretchLinear(const std::vector<std::uint16_t>& levels, std::uint32_t width, std::uint32_t height,
                      std::uint16_t low, std::uint16_t high) {
  Picture picture{width, height, {}};
  picture.pixels.reserve(levels.size());
  const double span = std::max(high - low, 1);
  for (const std::uint16_t level : levels) {
    const std::uint8_t grey = truncateToU8((level - low) * 255.0 / span);
    picture.pixels.push_back({grey, grey, grey});
  }
  return picture;
}

Picture contactSheet(const std::vector<std::pair<Picture, Picture>>& rows, std::uint32_t cellWidth) {
  Picture sheet;
  sheet.width = 2 * cellWidth + 3 * kGap;
  sheet.height = kGap;
  for (const auto& [left, right] : rows) sheet.height += cellHeight(left, cellWidth) + kGap;
  sheet.pixels.assign(std::size_t{sheet.width} * sheet.height, rgb_24b{255, 255, 255});
  std::uint32_t top = kGap;
  for (const auto& [left, right] : rows) {
    paste(left, sheet, kGap, top, cellWidth);
    paste(right, sheet, cellWidth + 2 * kGap, top, cellWidth);
    top += cellHeight(left, cellWidth) + kGap;
  }
  return sheet;
}

}  // namespace tools
