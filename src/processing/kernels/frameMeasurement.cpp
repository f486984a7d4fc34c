#include "processing/kernels/frameMeasurement.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "common/numerics.h"
#include "common/vectorised.h"

namespace kernels {

namespace {

using Levels = std::span<const std::uint16_t>;

/// What a few pixels add to a sum that grows in steps of 2^exponent: each pixel rounded to that step, halves
/// upwards, in steps. ties: how many pixels are such halves.
struct BlockGain {
  std::uint32_t steps = 0;
  std::uint32_t ties = 0;
};

constexpr std::size_t kBlock = 32;

OMBRIX_INLINE BlockGain blockGain(const std::uint16_t* levels, int exponent) {
  const auto half = static_cast<std::uint16_t>(1u << (exponent - 1));
  const auto below = static_cast<std::uint16_t>((1u << exponent) - 1);
  std::uint32_t steps = 0;
  std::uint16_t ties = 0;
  for (std::size_t i = 0; i < kBlock; ++i) {
    const std::uint16_t level = levels[i];
    steps += static_cast<std::uint16_t>((level >> exponent) + ((level >> (exponent - 1)) & 1));
    ties = static_cast<std::uint16_t>(ties + ((level & below) == half ? 1 : 0));
  }
  return {steps, ties};
}

/// `sum` plus the levels, one after the other, in single precision.
float addInOrder(float sum, const std::uint16_t* levels, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) sum += static_cast<float>(levels[i]);
  return sum;
}

/// The same for a whole number of blocks, at more than a pixel per step. While the sum stays between two
/// powers of two, single precision rounds it to multiples of one step after every pixel. Every pixel then
/// adds its own rounded value, whatever came before; only exact halves go to the even side, which depends on
/// the sum so far, and the blocks that hold one are added in order.
OMBRIX_VECTORISED
float addBlocks(float sum, const std::uint16_t* levels, std::size_t count) {
  constexpr int kMantissaBits = 23, kBias = 127;
  constexpr std::uint32_t kTop = 1u << (kMantissaBits + 1);  // in steps, the next power of two
  const std::uint16_t* const end = levels + count;
  while (levels != end) {
    const int exponent =
        static_cast<int>(std::bit_cast<std::uint32_t>(sum) >> kMantissaBits) - kBias - kMantissaBits;
    if (exponent < 1 || exponent > 15) {  // all sums are whole numbers there, or the steps are too large
      sum = addInOrder(sum, levels, kBlock);
      levels += kBlock;
      continue;
    }
    const auto step = static_cast<float>(1u << exponent);
    auto steps = static_cast<std::uint32_t>(sum / step);  // exact
    const std::uint32_t largestGain = kBlock * ((65535u >> exponent) + 1);
    for (; levels != end && steps + largestGain < kTop; levels += kBlock) {
      const BlockGain gain = blockGain(levels, exponent);
      if (gain.ties == 0) {
        steps += gain.steps;
      } else {
        const float added = addInOrder(static_cast<float>(steps) * step, levels, kBlock);
        steps = static_cast<std::uint32_t>(added / step);
      }
    }
    sum = static_cast<float>(steps) * step;
    if (levels == end) break;
    sum = addInOrder(sum, levels, kBlock);  // over the power of two
    levels += kBlock;
  }
  return sum;
}

float sequentialSum(Levels levels) {
  const std::size_t whole = levels.size() / kBlock * kBlock;
  const float sum = addBlocks(0.0f, levels.data(), whole);
  return addInOrder(sum, levels.data() + whole, levels.size() - whole);
}

struct Range {
  std::uint16_t low;
  std::uint16_t high;
};

OMBRIX_VECTORISED
Range rangeOf(const std::uint16_t* levels, std::size_t count) {
  std::uint16_t low = 65535;
  std::uint16_t high = 0;
  for (std::size_t i = 0; i < count; ++i) {
    low = std::min(low, levels[i]);
    high = std::max(high, levels[i]);
  }
  return {low, high};
}

LevelAt firstInRow(ImageView<const std::uint16_t> image, std::uint32_t y, std::uint16_t level) {
  const std::uint16_t* const row = image.row(y);
  return {level, static_cast<std::uint32_t>(std::find(row, row + image.width, level) - row), y};
}

}  // namespace

std::pair<std::uint16_t, std::uint16_t> levelRange(ImageView<const std::uint16_t> image) {
  const Range range = rangeOf(image.data, image.pixelCount());
  return {range.low, range.high};
}

FrameMeasurement measureFrame(ImageView<const std::uint16_t> image, LevelCounts histogram) {
  Range range = rangeOf(image.row(0), image.width);
  std::uint32_t lowRow = 0, highRow = 0;
  for (std::uint32_t y = 1; y < image.height; ++y) {
    const Range row = rangeOf(image.row(y), image.width);
    if (row.low < range.low) range.low = row.low, lowRow = y;
    if (row.high > range.high) range.high = row.high, highRow = y;
  }
  std::fill(histogram.begin(), histogram.end(), 0u);
  for (const std::uint16_t level : image.pixels()) ++histogram[level];
  const float sum = sequentialSum(image.pixels());
  return {firstInRow(image, lowRow, range.low), firstInRow(image, highRow, range.high),
          truncateToU16(static_cast<double>(sum / static_cast<float>(image.pixelCount())))};
}

}  // namespace kernels
