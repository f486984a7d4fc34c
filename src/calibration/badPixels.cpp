#include "calibration/badPixels.h"

#include <cstddef>

#include "common/fileBytes.h"
#include "common/format.h"
#include "core/logger.h"

bool loadBadPixelsList(std::vector<std::pair<int, int>>* list, const unsigned short& width,
                       const unsigned short& height, const std::string& path) {
  // One byte more than a map has, so that a longer file shows.
  const auto bytes = readFileBytes(path, std::uint64_t{width} * height + 1);
  if (list && !bytes) list->clear();  // as reading a map of another size does
  if (!list || !bytes || !calibration::readBadPixels(*bytes, width, height, *list)) {
    logger::error(format("Error while opening file '{:s}'", path), LOG_HERE);
    return false;
  }
  logger::info(format("File '{:s}' loaded", path), LOG_HERE);
  return true;
}

bool saveBadPixelsMap(const std::vector<std::pair<int, int>>& list, const unsigned short& width,
                      const unsigned short& height, const std::string& path) {
  std::vector<std::uint8_t> map(std::size_t{width} * height);
  for (const auto& [x, y] : list) {
    if (x < 0 || y < 0 || x >= width || y >= height) continue;
    map[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)] = 1;
  }
  if (writeFileBytes(path, map) != FileWrite::written) {
    logger::error(format("Error while saving file '{:s}'", path), LOG_HERE);
    return false;
  }
  logger::info(format("File '{:s}' saved", path), LOG_HERE);
  return true;
}

namespace calibration {

bool readBadPixels(std::span<const std::uint8_t> bytes, std::uint32_t width, std::uint32_t height,
                   std::vector<std::pair<int, int>>& list) {
  list.clear();
  if (bytes.size() != std::uint64_t{width} * height) return false;
  for (std::uint32_t y = 0; y < height; ++y) {
    const std::uint8_t* row = bytes.data() + std::size_t{y} * width;
    for (std::uint32_t x = 0; x < width; ++x) {
      if (row[x] != 0) list.emplace_back(static_cast<int>(x), static_cast<int>(y));
    }
  }
  return true;
}

}  // namespace calibration
