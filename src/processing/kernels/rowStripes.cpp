#include "processing/kernels/rowStripes.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "common/numerics.h"
#include "processing/kernels/medianMagnitude.h"

namespace kernels {

namespace {

constexpr std::uint32_t kSampledRows = 32;
constexpr float kGateSigmas = 4.0f;
constexpr float kLargestOffset = 60.0f;

using NeighbourRows = std::array<const std::uint16_t*, 4>;

/// Two rows above and two below. Next to an edge the pair that is there counts twice, since only balanced
/// neighbours leave a sloping scene alone; the edge itself has but the two rows inside.
NeighbourRows neighboursOf(ImageView<const std::uint16_t> image, std::uint32_t y) {
  const std::uint32_t last = image.height - 1;
  if (y == 0) return {image.row(1), image.row(2), image.row(1), image.row(2)};
  if (y == last) return {image.row(last - 1), image.row(last - 2), image.row(last - 1), image.row(last - 2)};
  if (y == 1 || y == last - 1)
    return {image.row(y - 1), image.row(y + 1), image.row(y - 1), image.row(y + 1)};
  return {image.row(y - 2), image.row(y - 1), image.row(y + 1), image.row(y + 2)};
}

/// Four times the difference, so that it stays a whole number.
std::int32_t quarters(const std::uint16_t* row, const NeighbourRows& around, std::uint32_t x) {
  return 4 * row[x] - (around[0][x] + around[1][x] + around[2][x] + around[3][x]);
}

float rowOffset(ImageView<const std::uint16_t> image, std::int32_t gate, std::uint32_t y) {
  constexpr std::uint32_t kBlock = 8192;  // of quarter levels: their sum fits 32 bits
  const std::uint16_t* row = image.row(y);
  const NeighbourRows around = neighboursOf(image, y);
  std::int64_t sum = 0;
  std::int64_t votes = 0;
  for (std::uint32_t first = 0; first < image.width; first += kBlock) {
    const std::uint32_t end = std::min(first + kBlock, image.width);
    std::int32_t blockSum = 0;
    std::int32_t blockVotes = 0;
    for (std::uint32_t x = first; x < end; ++x) {
      const std::int32_t d = quarters(row, around, x);
      const std::int32_t mask = -static_cast<std::int32_t>(std::abs(d) <= gate);
      blockSum += d & mask;
      blockVotes -= mask;
    }
    sum += blockSum;
    votes += blockVotes;
  }
  if (votes * 2 < image.width) return 0.0f;
  const auto offset = static_cast<float>(static_cast<double>(sum) / (4.0 * static_cast<double>(votes)));
  return std::clamp(offset, -kLargestOffset, kLargestOffset);
}

}  // namespace

std::size_t rowSampleSize(std::uint32_t width, std::uint32_t height) {
  return std::size_t{std::min(height, kSampledRows)} * width;
}

std::int32_t measureRowGate(ImageView<const std::uint16_t> image, std::span<std::uint16_t> sample) {
  if (image.height < kRowsCompared) return 0;
  const std::uint32_t rows = std::min(image.height, kSampledRows);
  std::size_t used = 0;
  for (std::uint32_t i = 0; i < rows; ++i) {
    const auto y = static_cast<std::uint32_t>(std::uint64_t{i} * image.height / rows);
    const std::uint16_t* row = image.row(y);
    const NeighbourRows around = neighboursOf(image, y);
    for (std::uint32_t x = 0; x < image.width; ++x) {
      sample[used + x] = static_cast<std::uint16_t>(std::min(std::abs(quarters(row, around, x)), 65535));
    }
    used += image.width;
  }
  return truncateToI32(
      static_cast<double>(kGateSigmas * kSigmaPerMedian * medianMagnitude(sample.first(used))));
}

void measureRowOffsets(ImageView<const std::uint16_t> image, std::int32_t gate, RowBand rows,
                       std::span<float> offsets) {
  for (std::uint32_t y = rows.first; y < rows.end; ++y) {
    offsets[y] = image.height < kRowsCompared ? 0.0f : rowOffset(image, gate, y);
  }
}

void shiftRows(ImageView<std::uint16_t> image, std::span<const float> offsets, float gain, RowBand rows) {
  for (std::uint32_t y = rows.first; y < rows.end; ++y) {
    const float offset = gain * offsets[y];
    const std::uint16_t lower = roundToU16(std::max(offset, 0.0f));
    const std::uint16_t raise = roundToU16(std::max(-offset, 0.0f));
    const auto room = static_cast<std::uint16_t>(65535 - raise);
    std::uint16_t* row = image.row(y);
    for (std::uint32_t x = 0; x < image.width; ++x) {
      const auto lowered = static_cast<std::uint16_t>(std::max(row[x], lower) - lower);
      row[x] = static_cast<std::uint16_t>(std::min(lowered, room) + raise);
    }
  }
}

}  // namespace kernels
