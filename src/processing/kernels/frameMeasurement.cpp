#include "processing/kernels/frameMeasurement.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "common/numerics.h"
#include "common/vectorised.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kernels {

namespace {

constexpr std::size_t kBlock = 32;

/// What a block of pixels adds to a sum that grows in steps of 2^exponent: each pixel rounded to that step,
/// halves upwards, in steps. Ties are such halves.
struct BlockGain {
  std::uint32_t steps = 0;
  bool tied = false;
};

/// Of a block's pixels, one bit each: whether its rounded value is odd, in steps, and whether it is a tie.
struct BlockParity {
  std::uint32_t odd = 0;
  std::uint32_t ties = 0;
};

#if defined(__SSE2__)

/// A block's pixels in eight lanes each. exponent: 2 to 15.
class Lanes {
 public:
  OMBRIX_INLINE explicit Lanes(int exponent)
      : half(_mm_set1_epi16(static_cast<std::int16_t>(1 << (exponent - 1)))),
        below(_mm_set1_epi16(static_cast<std::int16_t>((1 << exponent) - 1))),
        toHalves(_mm_cvtsi32_si128(exponent - 1)) {}

  OMBRIX_INLINE BlockGain gain(const std::uint16_t* levels) const {
    __m128i sums = _mm_setzero_si128(), ties = _mm_setzero_si128();
    for (std::size_t i = 0; i < kBlock; i += 8) {
      sums = _mm_add_epi32(sums, _mm_madd_epi16(rounded(levels + i), _mm_set1_epi16(1)));
      ties = _mm_or_si128(ties, tied(levels + i));
    }
    sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, 0x4E));
    sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, 0xB1));
    return {static_cast<std::uint32_t>(_mm_cvtsi128_si32(sums)), _mm_movemask_epi8(ties) != 0};
  }
  OMBRIX_INLINE BlockParity parity(const std::uint16_t* levels) const {
    BlockParity parity;
    for (std::size_t i = 0; i < kBlock; i += 16) {
      const __m128i low = _mm_slli_epi16(rounded(levels + i), 15);
      const __m128i high = _mm_slli_epi16(rounded(levels + i + 8), 15);
      parity.odd |= signBits(low, high) << i;
      parity.ties |= signBits(tied(levels + i), tied(levels + i + 8)) << i;
    }
    return parity;
  }

 private:
  OMBRIX_INLINE static __m128i load(const std::uint16_t* levels) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(levels));
  }
  /// The average with 0 halves and rounds up. From exponent 2 on the results fit signed lanes.
  OMBRIX_INLINE __m128i rounded(const std::uint16_t* levels) const {
    return _mm_avg_epu16(_mm_srl_epi16(load(levels), toHalves), _mm_setzero_si128());
  }
  OMBRIX_INLINE __m128i tied(const std::uint16_t* levels) const {
    return _mm_cmpeq_epi16(_mm_and_si128(load(levels), below), half);
  }
  OMBRIX_INLINE static std::uint32_t signBits(__m128i low, __m128i high) {
    return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
  }

  __m128i half, below, toHalves;
};

#else

/// The same, pixel by pixel.
class Lanes {
 public:
  explicit Lanes(int stepExponent) : exponent(stepExponent) {}

  OMBRIX_INLINE BlockGain gain(const std::uint16_t* levels) const {
    std::uint32_t steps = 0;
    std::uint16_t ties = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
      steps += rounded(levels[i]);
      ties = static_cast<std::uint16_t>(ties + (tied(levels[i]) ? 1 : 0));
    }
    return {steps, ties != 0};
  }
  OMBRIX_INLINE BlockParity parity(const std::uint16_t* levels) const {
    BlockParity parity;
    for (std::size_t i = 0; i < kBlock; ++i) {
      parity.odd |= (rounded(levels[i]) & 1u) << i;
      parity.ties |= (tied(levels[i]) ? 1u : 0u) << i;
    }
    return parity;
  }

 private:
  OMBRIX_INLINE std::uint16_t rounded(std::uint16_t level) const {
    return static_cast<std::uint16_t>((level >> exponent) + ((level >> (exponent - 1)) & 1));
  }
  OMBRIX_INLINE bool tied(std::uint16_t level) const {
    return (level & ((1u << exponent) - 1)) == 1u << (exponent - 1);
  }

  int exponent;
};

#endif

/// How many of a block's halves go down, to the even side. odd: whether the sum before the block is, in
/// steps.
OMBRIX_INLINE std::uint32_t tiesDown(BlockParity block, std::uint32_t odd) {
  static_assert(kBlock == 32);
  std::uint32_t flips =
      block.odd & ~block.ties;  // parity of all that came since the block began, but for ties
  for (unsigned distance = 1; distance < kBlock; distance *= 2) flips ^= flips << distance;
  std::uint32_t down = 0, evenAt = odd;
  for (std::uint32_t ties = block.ties; ties != 0; ties &= ties - 1) {
    const int place = std::countr_zero(ties);
    const std::uint32_t here = (flips >> place) & 1;
    // Rounded up, its value changes the parity by `block.odd`; an odd sum is what it must not become.
    down += (evenAt ^ here ^ (block.odd >> place)) & 1;
    evenAt = here;  // after a tie the sum is even
  }
  return down;
}

/// `sum` plus the levels, one after the other, in single precision.
float addInOrder(float sum, const std::uint16_t* levels, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) sum += static_cast<float>(levels[i]);
  return sum;
}

/// `sum` plus a whole number of blocks' levels, at more than a pixel per step. While the sum stays between
/// two powers of two, single precision rounds it to multiples of one step after every pixel. Every pixel then
/// adds its own rounded value, whatever came before; only exact halves go to the even side, which depends on
/// the sum so far.
OMBRIX_VECTORISED
float addBlocks(float sum, const std::uint16_t* levels, std::size_t count) {
  constexpr int kMantissaBits = 23, kBias = 127;
  constexpr std::uint32_t kTop = 1u << (kMantissaBits + 1);  // in steps, the next power of two
  const std::uint16_t* const end = levels + count;
  while (levels != end) {
    const int exponent =
        static_cast<int>(std::bit_cast<std::uint32_t>(sum) >> kMantissaBits) - kBias - kMantissaBits;
    if (exponent < 2 || exponent > 15) {  // few pixels reach further, or the steps are too large
      sum = addInOrder(sum, levels, kBlock);
      levels += kBlock;
      continue;
    }
    const auto step = static_cast<float>(1u << exponent);
    auto steps = static_cast<std::uint32_t>(sum / step);  // exact
    const std::uint32_t largestGain = kBlock * ((65535u >> exponent) + 1);
    const Lanes lanes(exponent);
    for (; levels != end && steps + largestGain < kTop; levels += kBlock) {
      const BlockGain gain = lanes.gain(levels);
      steps += gain.steps - (gain.tied ? tiesDown(lanes.parity(levels), steps & 1) : 0);
    }
    sum = static_cast<float>(steps) * step;
    if (levels == end) break;
    sum = addInOrder(sum, levels, kBlock);  // over the power of two
    levels += kBlock;
  }
  return sum;
}

/// Counts levels into the histogram and the three banks behind it in turn: neighbours are often alike, and an
/// addition to the count that was just written would wait for it.
void countLevels(const std::uint16_t* levels, std::size_t count, std::uint32_t* histogram,
                 CountBanks& banks) {
  std::uint32_t* const a = banks.bank(0);
  std::uint32_t* const b = banks.bank(1);
  std::uint32_t* const c = banks.bank(2);
  const std::size_t whole = count / 4 * 4;
  for (std::size_t i = 0; i < whole; i += 4) {
    ++histogram[levels[i]];
    ++a[levels[i + 1]];
    ++b[levels[i + 2]];
    ++c[levels[i + 3]];
  }
  for (std::size_t i = whole; i < count; ++i) ++histogram[levels[i]];
}

/// Adds the banks to the histogram, level by level, and clears them.
OMBRIX_VECTORISED
void mergeBanks(std::uint32_t* __restrict histogram, std::uint32_t* __restrict a, std::uint32_t* __restrict b,
                std::uint32_t* __restrict c, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    histogram[i] += a[i] + b[i] + c[i];
    a[i] = b[i] = c[i] = 0;
  }
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

/// The first place of `level` among the pixels from `start` on, where it is.
LevelAt findLevel(ImageView<const std::uint16_t> image, std::size_t start, std::uint16_t level) {
  const std::uint16_t* const found = std::find(image.data + start, image.data + image.pixelCount(), level);
  const auto place = static_cast<std::size_t>(found - image.data);
  return {level, static_cast<std::uint32_t>(place % image.width),
          static_cast<std::uint32_t>(place / image.width)};
}

}  // namespace

std::pair<std::uint16_t, std::uint16_t> levelRange(ImageView<const std::uint16_t> image) {
  const Range range = rangeOf(image.data, image.pixelCount());
  return {range.low, range.high};
}

FrameMeasurement measureFrame(ImageView<const std::uint16_t> image, LevelCounts histogram,
                              CountBanks& banks) {
  constexpr std::size_t kPiece = 64 * kBlock;  // pixels that stay in the nearest cache for all there is to do
  std::fill(histogram.begin(), histogram.end(), 0u);
  Range range{65535, 0};
  std::size_t lowPiece = 0, highPiece = 0;
  float sum = 0.0f;
  for (std::size_t first = 0; first < image.pixelCount(); first += kPiece) {
    const std::uint16_t* const levels = image.data + first;
    const std::size_t count = std::min(kPiece, image.pixelCount() - first);
    const std::size_t whole = count / kBlock * kBlock;
    const Range piece = rangeOf(levels, count);
    if (piece.low < range.low) range.low = piece.low, lowPiece = first;
    if (piece.high > range.high) range.high = piece.high, highPiece = first;
    sum = addInOrder(addBlocks(sum, levels, whole), levels + whole, count - whole);
    countLevels(levels, count, histogram.data(), banks);
  }
  mergeBanks(&histogram[range.low], banks.bank(0) + range.low, banks.bank(1) + range.low,
             banks.bank(2) + range.low, std::size_t{range.high} - range.low + 1);
  return {findLevel(image, lowPiece, range.low), findLevel(image, highPiece, range.high),
          truncateToU16(static_cast<double>(sum / static_cast<float>(image.pixelCount())))};
}

}  // namespace kernels
