#pragma once

#include <cstdint>
#include <string>

#include "imageFiles/tiff/TiffHandle.h"

namespace imageFiles {

/// Writes one page and its directory: one strip, uncompressed. samples: 1 or 3.
bool writeTiffPage(TIFF* tiff, std::uint16_t width, std::uint16_t height, std::uint16_t bitsPerSample,
                   std::uint16_t samples, void* pixels, const std::string& description);

}  // namespace imageFiles
