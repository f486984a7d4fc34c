#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "common/views.h"

namespace transport {

/// Geometry of a sample: two bytes per pixel, most significant first, of which the upper 14 bits count.
struct SampleLayout {
  std::uint32_t width = 0;   ///< pixels of the stream, not of the image that comes out
  std::uint32_t height = 0;  ///< rows of the stream
  std::uint32_t pitch = 0;   ///< bytes from one row to the next; less than width * 2 stands for width * 2

  std::uint64_t rowBytes() const {
    return pitch > std::uint64_t{width} * 2 ? pitch : std::uint64_t{width} * 2;
  }
  /// Bytes that a sample must have before a single pixel of it is read.
  std::uint64_t sizeBytes() const { return rowBytes() * height; }
};

/// Unpacks a sample into `out` by the rule of the stream's width, and decodes the sensor temperature that
/// travels in it: degrees Celsius for the 320- and 640-wide cameras, kelvin for all others.
/// sample: at least layout.sizeBytes() bytes; fewer, or a stream without pixels: false, nothing is written.
/// out: receives what fits into it, pixels outside are dropped, pixels that the stream lacks stay.
/// temperature: left as it is when the stream carries none. Allocates nothing, logs nothing.
bool unpackSample(std::span<const std::uint8_t> sample, const SampleLayout& layout,
                  ImageView<std::uint16_t> out, float& temperature);

}  // namespace transport
