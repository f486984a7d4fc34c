#include "processing/kernels/interpolation.h"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>

#include "common/numerics.h"

namespace kernels {

namespace {

/// Rows that are interpolated together. Their pixels lie side by side while the columns are weighed, so that
/// the same weight applies to all of them at once.
constexpr std::uint32_t kLanes = 4;
using LanePointers = std::array<std::uint16_t*, kLanes>;

/// Sum of weights times values; when limited, within the range of the values.
template <std::uint32_t taps, bool limited, typename ValueOf>
inline float weigh(const float* weights, ValueOf&& valueOf) {
  float low = valueOf(0);
  float high = low;
  float sum = weights[0] * low;
  for (std::uint32_t k = 1; k < taps; ++k) {
    const float value = valueOf(k);
    sum += weights[k] * value;
    low = std::min(low, value);
    high = std::max(high, value);
  }
  if constexpr (limited) sum = std::min(std::max(sum, low), high);
  return sum;
}

/// Source columns first .. end - 1 of output row `y`, weighed over the source rows, into `line`.
template <std::uint32_t taps, bool limited>
void weighRows(ImageView<const std::uint16_t> in, const AxisWeights& rows, std::uint32_t y,
               std::uint32_t first, std::uint32_t end, float* line) {
  std::array<const std::uint16_t*, taps> source;
  std::array<float, taps> weights;
  for (std::uint32_t k = 0; k < taps; ++k) {
    source[k] = in.row(rows.first[y] + k);
    weights[k] = rows.weights[std::size_t{y} * rows.taps + k];
  }
  for (std::uint32_t x = first; x < end; ++x) {
    line[x] = weigh<taps, limited>(weights.data(), [&](std::uint32_t k) { return float(source[k][x]); });
  }
}

/// Output columns first .. end - 1 of kLanes rows. mixed: pixel x of lane r at x * kLanes + r. stride:
/// weights per output column; the loop is faster where it is a constant.
template <std::uint32_t taps, bool limited, typename Stride>
void weighColumns(const float* mixed, const AxisWeights& columns, std::uint32_t first, std::uint32_t end,
                  Stride stride, const LanePointers& out) {
  for (std::uint32_t x = first; x < end; ++x) {
    const float* const values = mixed + std::size_t{columns.first[x]} * kLanes;
    const float* const weights = columns.weights.data() + std::size_t{x} * stride;
    std::array<std::int32_t, kLanes> levels;
    for (std::uint32_t r = 0; r < kLanes; ++r) {
      const float sum =
          weigh<taps, limited>(weights, [&](std::uint32_t k) { return values[k * kLanes + r]; });
      const float above = sum > 0.0f ? sum : 0.0f;
      const float rounded = (above < 65535.0f ? above : 65535.0f) + 0.5f;  // in single precision
      levels[r] = static_cast<std::int32_t>(rounded);
    }
    for (std::uint32_t r = 0; r < kLanes; ++r) out[r][x] = static_cast<std::uint16_t>(levels[r]);
  }
}

/// Calls `run` with the tap count as a constant, so that its loops unroll.
template <typename Run>
void withTaps(std::uint32_t taps, Run&& run) {
  switch (taps) {
    case 1:
      return run(std::integral_constant<std::uint32_t, 1>{});
    case 2:
      return run(std::integral_constant<std::uint32_t, 2>{});
    case 3:
      return run(std::integral_constant<std::uint32_t, 3>{});
    case 4:
      return run(std::integral_constant<std::uint32_t, 4>{});
    case 5:
      return run(std::integral_constant<std::uint32_t, 5>{});
    default:
      return run(std::integral_constant<std::uint32_t, 6>{});
  }
}

void mixLanes(const std::array<float*, kLanes>& lines, std::uint32_t first, std::uint32_t end, float* mixed) {
  const float *a = lines[0], *b = lines[1], *c = lines[2], *d = lines[3];
  for (std::uint32_t x = first; x < end; ++x) {
    mixed[std::size_t{x} * kLanes] = a[x];
    mixed[std::size_t{x} * kLanes + 1] = b[x];
    mixed[std::size_t{x} * kLanes + 2] = c[x];
    mixed[std::size_t{x} * kLanes + 3] = d[x];
  }
}

template <bool limited>
void interpolateRows(ImageView<const std::uint16_t> in, ImageView<std::uint16_t> out,
                     const InterpolationWeights& weights, RowBand band, float* scratch) {
  const AxisWeights& columns = weights.columns;
  // Positions grow with the column, so the outer ones bound the source columns in use.
  const std::uint32_t first = columns.first.front();
  const std::uint32_t end = columns.first.back() + columns.count.back();
  std::array<float*, kLanes> lines;
  float* mixed = scratch;  // behind the lines
  for (float*& line : lines) line = std::exchange(mixed, mixed + in.width);

  for (std::uint32_t y = band.first; y < band.end; y += kLanes) {
    LanePointers target;
    for (std::uint32_t r = 0; r < kLanes; ++r) {
      // At the band's end the spare lanes repeat its last row.
      const std::uint32_t row = std::min(y + r, band.end - 1);
      target[r] = out.row(row);
      withTaps(weights.rows.count[row], [&](auto taps) {
        weighRows<decltype(taps)::value, limited>(in, weights.rows, row, first, end, lines[r]);
      });
    }
    mixLanes(lines, first, end, mixed);
    for (std::uint32_t x = 0, next = 0; x < out.width; x = next) {
      const std::uint32_t count = columns.count[x];
      while (next < out.width && columns.count[next] == count) ++next;
      withTaps(count, [&](auto taps) {
        const auto run = [&](auto stride) {
          weighColumns<decltype(taps)::value, limited>(mixed, columns, x, next, stride, target);
        };
        count == columns.taps ? run(taps) : run(columns.taps);
      });
    }
  }
}

/// Walks along an axis in blocks of `factor` pixels that lie symmetrically about the centre.
class BlockWalk {
 public:
  BlockWalk(std::uint32_t start, std::uint32_t factor, std::uint32_t length)
      : doubled(std::uint64_t{2} * factor) {
    const std::uint64_t offset = std::uint64_t{2} * start + 1 + std::uint64_t{length} * (factor - 1);
    source = static_cast<std::uint32_t>(offset / doubled);
    within = offset % doubled;
  }
  /// The source pixel of this output pixel; moves on to the next.
  std::uint32_t next() {
    const std::uint32_t current = source;
    within += 2;
    if (within >= doubled) {
      within -= doubled;
      ++source;
    }
    return current;
  }

 private:
  std::uint64_t doubled;  ///< block length in half pixels
  std::uint64_t within;   ///< half pixels into the block
  std::uint32_t source;
};

}  // namespace

std::size_t interpolationScratch(std::uint32_t width) { return std::size_t{2} * kLanes * width; }

void interpolateImage(ImageView<const std::uint16_t> in, ImageView<std::uint16_t> out,
                      const InterpolationWeights& weights, RowBand band, std::span<float> scratch) {
  if (weights.identity()) {
    std::copy(in.row(band.first), in.row(band.end), out.row(band.first));
  } else if (weights.method == Interpolation::nearest) {
    for (std::uint32_t y = band.first; y < band.end; ++y) {
      const std::uint16_t* const source = in.row(weights.rows.first[y]);
      std::uint16_t* const target = out.row(y);
      for (std::uint32_t x = 0; x < out.width; ++x) target[x] = source[weights.columns.first[x]];
    }
  } else if (weights.method == Interpolation::lanczos3) {
    interpolateRows<true>(in, out, weights, band, scratch.data());
  } else {
    interpolateRows<false>(in, out, weights, band, scratch.data());
  }
}

void zoomPixels(ImageView<const std::uint16_t> in, ImageView<std::uint16_t> out, std::uint32_t factor,
                RowBand band) {
  // A longer block than the axis shows the same single pixel, and keeps the products small.
  factor = std::clamp(factor, 1u, 65535u);
  BlockWalk rows(band.first, factor, in.height);
  for (std::uint32_t y = band.first; y < band.end; ++y) {
    const std::uint16_t* const source = in.row(rows.next());
    std::uint16_t* const target = out.row(y);
    BlockWalk columns(0, factor, in.width);
    for (std::uint32_t x = 0; x < out.width; ++x) target[x] = source[columns.next()];
  }
}

}  // namespace kernels
