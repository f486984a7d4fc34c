#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/rgb.h"
#include "common/views.h"

// Pictures on disk. Every writer returns an empty text when the file is complete, otherwise one line that
// names the file and the reason; an incomplete file is removed.
namespace tools {

/// 16-bit greyscale as binary PGM, samples in big-endian order.
std::string writePgm(const std::string& path, ImageView<const std::uint16_t> picture);

/// 24-bit colour as PNG.
std::string writePng(const std::string& path, ImageView<const rgb_24b> picture);

/// A text or any other bytes.
std::string writeFile(const std::string& path, const void* bytes, std::size_t sizeBytes);

}  // namespace tools
