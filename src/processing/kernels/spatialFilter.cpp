#include "processing/kernels/spatialFilter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "common/numerics.h"
#include "common/vectorised.h"

namespace kernels {

namespace {

constexpr float kNinth = 1.0f / 9.0f;

/// A line of scratch: value x stands at x + 1, and its ends repeat once outwards. No two lines overlap, which
/// the compiler needs to be told to work on several pixels at once.
using Line = float* __restrict;
using ConstLine = const float* __restrict;

OMBRIX_INLINE void repeatEnds(Line line, std::uint32_t width) {
  line[0] = line[1];
  line[width + 1] = line[width];
}

/// Per column of three rows: the sum, and three times the squares' sum less the square of the sum. The latter
/// comes from differences, since in single precision the squares would swallow small variances.
OMBRIX_VECTORISED
void measureColumns(const std::uint16_t* top, const std::uint16_t* middle, const std::uint16_t* bottom,
                    std::uint32_t width, Line sums, Line spreads) {
  for (std::size_t x = 0; x < width; ++x) {
    const std::int32_t t = top[x];
    const std::int32_t m = middle[x];
    const std::int32_t b = bottom[x];
    const auto tm = static_cast<float>(t - m);
    const auto mb = static_cast<float>(m - b);
    const auto tb = static_cast<float>(t - b);
    sums[x + 1] = static_cast<float>(t + m + b);
    spreads[x + 1] = tm * tm + mb * mb + tb * tb;
  }
  repeatEnds(sums, width);
  repeatEnds(spreads, width);
}

/// a and b of the windows around one row. threshold: 81 times the variance at which a is one half.
OMBRIX_VECTORISED
void fitWindows(ConstLine sums, ConstLine spreads, float threshold, std::uint32_t width, Line a, Line b) {
  for (std::size_t x = 0; x < width; ++x) {
    const float lm = sums[x] - sums[x + 1];
    const float mr = sums[x + 1] - sums[x + 2];
    const float lr = sums[x] - sums[x + 2];
    const float within = spreads[x] + spreads[x + 1] + spreads[x + 2];
    const float variance = 3.0f * within + (lm * lm + mr * mr + lr * lr);  // times 81
    const float flat = threshold / (variance + threshold);                 // 1 - a
    a[x + 1] = 1.0f - flat;
    b[x + 1] = flat * kNinth * (sums[x] + sums[x + 1] + sums[x + 2]);
  }
  repeatEnds(a, width);
  repeatEnds(b, width);
}

OMBRIX_VECTORISED
void addLines(ConstLine top, ConstLine middle, ConstLine bottom, std::uint32_t count, Line sums) {
  for (std::size_t x = 0; x < count; ++x) sums[x] = top[x] + middle[x] + bottom[x];
}

OMBRIX_VECTORISED
void applyWindows(const std::uint16_t* in, ConstLine a, ConstLine b, std::uint32_t width,
                  std::uint16_t* __restrict out) {
  for (std::size_t x = 0; x < width; ++x) {
    const float slope = a[x] + a[x + 1] + a[x + 2];
    const float offset = b[x] + b[x + 1] + b[x + 2];
    const float level = (slope * static_cast<float>(in[x]) + offset) * kNinth + 0.5f;
    out[x] = truncateLimitedToU16(level < 65535.0f ? level : 65535.0f);
  }
}

/// The working lines of one band.
class Windows {
 public:
  Windows(ImageView<const std::uint16_t> image, float sigma, float* scratch) : in(image) {
    const std::size_t length = std::size_t{in.width} + 2;
    const auto line = [&](std::size_t index) { return scratch + index * length; };
    for (std::size_t i = 0; i < 3; ++i) {
      a[i] = line(i);
      b[i] = line(3 + i);
    }
    sums = line(6);
    spreads = line(7);
    threshold = 81.0f * (4.0f * sigma * sigma);
  }
  /// Fits the windows around row `y`, which may lie one row outside the image.
  void fit(std::int64_t y) {
    const std::int64_t centre = limited(y);
    measureColumns(in.row(limited(centre - 1)), in.row(limited(centre)), in.row(limited(centre + 1)),
                   in.width, sums, spreads);
    fitWindows(sums, spreads, threshold, in.width, a[slot(y)], b[slot(y)]);
  }
  /// Row `y` of the result; the windows of y - 1, y and y + 1 are fitted.
  void apply(std::uint32_t y, std::uint16_t* out) {
    const std::size_t top = slot(std::int64_t{y} - 1);
    const std::size_t middle = slot(y);
    const std::size_t bottom = slot(std::int64_t{y} + 1);
    addLines(a[top], a[middle], a[bottom], in.width + 2, sums);
    addLines(b[top], b[middle], b[bottom], in.width + 2, spreads);
    applyWindows(in.row(y), sums, spreads, in.width, out);
  }

 private:
  static std::size_t slot(std::int64_t y) { return static_cast<std::size_t>((y + 3) % 3); }
  std::uint32_t limited(std::int64_t y) const {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(y, 0, std::int64_t{in.height} - 1));
  }

  ImageView<const std::uint16_t> in;
  float threshold;
  std::array<float*, 3> a;  ///< of three consecutive rows
  std::array<float*, 3> b;
  float* sums;
  float* spreads;
};

/// Sum of |second difference across of the second difference along| around one row.
OMBRIX_VECTORISED
std::uint64_t laplacianSum(const std::uint16_t* top, const std::uint16_t* middle, const std::uint16_t* bottom,
                           std::uint32_t width) {
  constexpr std::uint32_t kChunk = 4096;  // sums of up to 8 * 65535 each fit 32 bits
  std::uint64_t total = 0;
  for (std::uint32_t start = 1; start + 1 < width; start += kChunk) {
    const std::uint32_t end = std::min(start + kChunk, width - 1);
    std::uint32_t sum = 0;
    for (std::size_t x = start; x < end; ++x) {
      const std::int32_t sides = top[x - 1] + top[x + 1] + bottom[x - 1] + bottom[x + 1];
      const std::int32_t cross = top[x] + bottom[x] + middle[x - 1] + middle[x + 1];
      sum += static_cast<std::uint32_t>(std::abs(sides - 2 * cross + 4 * middle[x]));
    }
    total += sum;
  }
  return total;
}

}  // namespace

float noiseSigma(ImageView<const std::uint16_t> image) {
  if (image.width < 3 || image.height < 3) return 0.0f;
  std::uint64_t sum = 0;
  std::uint64_t pixels = 0;
  for (std::uint32_t y = 1; y + 1 < image.height; y += 4) {
    sum += laplacianSum(image.row(y - 1), image.row(y), image.row(y + 1), image.width);
    pixels += image.width - 2;
  }
  // White noise of sigma 1 gives 6 * sqrt(2 / pi) on average: the operator's squared weights add up to 36.
  const double mean = static_cast<double>(sum) / static_cast<double>(pixels);
  return static_cast<float>(mean * std::sqrt(std::numbers::pi / 2.0) / 6.0);
}

std::size_t filterScratch(std::uint32_t width) { return 8 * (std::size_t{width} + 2); }

void filterImage(ImageView<const std::uint16_t> in, ImageView<std::uint16_t> out, float sigma, RowBand band,
                 std::span<float> scratch) {
  if (band.empty()) return;
  Windows windows(in, sigma, scratch.data());
  windows.fit(std::int64_t{band.first} - 1);
  windows.fit(band.first);
  for (std::uint32_t y = band.first; y < band.end; ++y) {
    windows.fit(std::int64_t{y} + 1);
    windows.apply(y, out.row(y));
  }
}

}  // namespace kernels
