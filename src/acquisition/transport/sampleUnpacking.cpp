#include "acquisition/transport/sampleUnpacking.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace transport {
namespace {

constexpr std::uint32_t kMarlowWidth = 320;
constexpr std::uint32_t kBrambleWidth = 640;
constexpr std::uint32_t kHollisWidth = 1280;
constexpr std::uint32_t kHollisHeight = 1024;
constexpr std::uint32_t kPaddedBrambleHeight = 480;
/// Columns at either edge of a 1024-row stream that are no picture: two of reference pixels, two of junk.
constexpr std::uint32_t kEdgeColumns = 4;

struct Source {
  const std::uint8_t* bytes;
  SampleLayout layout;

  const std::uint8_t* pixel(std::uint32_t x, std::uint32_t y) const {
    return bytes + layout.rowBytes() * y + std::size_t{x} * 2;
  }
};

/// Plain loop over words, so that compilers vectorise it.
void unpackRow(std::uint16_t* __restrict out, const std::uint8_t* __restrict in, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    std::uint16_t word;
    std::memcpy(&word, in + i * 2, sizeof word);
    if constexpr (std::endian::native == std::endian::little) {
      word = static_cast<std::uint16_t>((word << 8) | (word >> 8));
    }
    out[i] = static_cast<std::uint16_t>(word >> 2);
  }
}

/// Columns [firstColumn, firstColumn + columns) of every row, to the left edge of `out`.
void unpackColumns(const Source& source, std::uint32_t firstColumn, std::uint32_t columns,
                   ImageView<std::uint16_t> out) {
  const std::uint32_t count = std::min(columns, out.width);
  const std::uint32_t rows = std::min(source.layout.height, out.height);
  for (std::uint32_t y = 0; y < rows; ++y) unpackRow(out.row(y), source.pixel(firstColumn, y), count);
}

/// The last pixel read low byte first: where the 320- and 640-wide cameras put their temperature.
float lastPixelWord(const Source& source) {
  const std::uint8_t* const last = source.pixel(source.layout.width - 1, source.layout.height - 1);
  return static_cast<float>(last[1] * 256 + last[0]);
}

/// Mean of the reference pixels, the two outermost columns at either edge. width: at least 4.
float referenceMean(const Source& source) {
  const std::uint32_t width = source.layout.width;
  std::uint64_t sum = 0;
  std::uint64_t count = 0;
  for (std::uint32_t y = 0; y < source.layout.height; ++y) {
    for (const std::uint32_t x : {0u, 1u, width - 2, width - 1}) {
      const std::uint8_t* const pixel = source.pixel(x, y);
      sum += static_cast<std::uint32_t>(pixel[0] * 256 + pixel[1]) >> 2;
      ++count;
    }
  }
  return static_cast<float>(sum) / static_cast<float>(count);
}

void unpackWithReferenceColumns(const Source& source, ImageView<std::uint16_t> out, float& temperature) {
  const std::uint32_t width = source.layout.width;
  if (width < 4) return;
  if (width > 2 * kEdgeColumns) {
    // A wider stream than 1288 columns has more picture than the image; a narrower one leaves its end
    // unwritten.
    unpackColumns(source, kEdgeColumns, std::min(width - 2 * kEdgeColumns, kHollisWidth), out);
  }
  temperature = 411.52f - (referenceMean(source) * 0.0001220703125f + 0.5f) * 187.775f + 273.15f;
}

}  // namespace

bool unpackSample(std::span<const std::uint8_t> sample, const SampleLayout& layout,
                  ImageView<std::uint16_t> out, float& temperature) {
  constexpr std::uint32_t kLargestSide = 0x7FFFFFFF;  // keeps the product of the sizes within 64 bits
  if (layout.width == 0 || layout.width > kLargestSide) return false;
  if (layout.height == 0 || layout.height > kLargestSide) return false;
  if (sample.size() < layout.sizeBytes()) return false;
  const Source source{sample.data(), layout};

  if (layout.width == kMarlowWidth) {
    unpackColumns(source, 0, layout.width, out);
    temperature = 359.397f - lastPixelWord(source) * 0.02778f;
  } else if (layout.width == kBrambleWidth) {
    unpackColumns(source, 0, layout.width, out);
    temperature = 415.48f - lastPixelWord(source) * 3.7f / 65535.0f * 188.65f;
  } else if (layout.height == kHollisHeight) {
    unpackWithReferenceColumns(source, out, temperature);
  } else if (layout.height == kPaddedBrambleHeight) {
    unpackColumns(source, 0, std::min(layout.width, kBrambleWidth), out);
  }
  return true;
}

}  // namespace transport
