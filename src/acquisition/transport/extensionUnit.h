#pragma once

#include <cstddef>
#include <cstdint>

#include "acquisition/transport/videoPlatform.h"

namespace transport {

/// The vendor extension unit through which the cameras take register commands.
inline constexpr Guid kCameraUnit = {
    0x39D89422, 0xA0A4, 0x443E, {0x87, 0xCC, 0xB4, 0x99, 0x07, 0x43, 0xDD, 0x5A}};

/// The control selector encodes the transfer size: log2(bytes) + 1, rounded to the nearest integer
/// (16 bytes: 5, 32: 6, 64: 7). bytes: at least 1; 0 gives 0, which no control has.
std::uint32_t selectorForSize(std::size_t bytes);

}  // namespace transport
