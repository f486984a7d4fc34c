#pragma once

#include <cstdint>
#include <vector>

#include "imageFiles/picture.h"

namespace imageFiles {

/// A PNG file of the picture: 16-bit grey levels or 8-bit colours, with its description as a text chunk. The
/// pixels are stored uncompressed, which every reader takes and which needs no compression library.
std::vector<std::uint8_t> encodePng(const Picture& picture);

}  // namespace imageFiles
