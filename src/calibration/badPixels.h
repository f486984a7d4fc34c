#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

// Defective-pixel maps (".dpc"): width x height bytes, row by row; a byte other than 0 marks a defective
// pixel.

/// Replaces `list` by the (x, y) of the marked pixels in file order: by row, then by column. False, with an
/// empty list, when the file cannot be read or has another size.
bool loadBadPixelsList(std::vector<std::pair<int, int>>* list, const unsigned short& width,
                       const unsigned short& height, const std::string& path);

/// Writes the map of a list; entries outside the image are left out.
bool saveBadPixelsMap(const std::vector<std::pair<int, int>>& list, const unsigned short& width,
                      const unsigned short& height, const std::string& path);

namespace calibration {

/// `loadBadPixelsList` on bytes.
bool readBadPixels(std::span<const std::uint8_t> bytes, std::uint32_t width, std::uint32_t height,
                   std::vector<std::pair<int, int>>& list);

}  // namespace calibration
