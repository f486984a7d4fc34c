#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

// Kernels as one would write them without a thought of speed: whole images, one pixel after the other,
// nothing of the library. The kernels must give the same bits.
namespace plain {

using Levels = std::vector<std::uint16_t>;
using Counts = std::vector<std::uint32_t>;
using Floats = std::vector<float>;

constexpr std::size_t kAllLevels = 65536;

struct Picture {
  int width = 0;
  int height = 0;
  Levels levels;

  int at(int x, int y) const { return levels[static_cast<std::size_t>(y * width + x)]; }
  /// Beyond an edge the edge goes on.
  int edge(int x, int y) const { return at(std::clamp(x, 0, width - 1), std::clamp(y, 0, height - 1)); }
};

std::uint16_t limited(long long level);
/// Truncated; NaN is 0.
std::uint16_t limited(float level);

// Flat field. Each of `low` and `high` holds the sums of `frames` frames.
Levels offset(const Levels& raw, const Counts& low, const Counts& high, float weight, std::uint32_t target,
              std::uint32_t frames);
/// Tables: 25 degC low and high, 50 degC low and high.
Levels twoReferences(const Levels& raw, const Counts (&tables)[4], std::uint32_t frames, float weight,
                     float rangeMinK, float rangeSpanK);
Levels gainAndOffset(const Levels& raw, const Floats& gain, const Floats& offset, float rangeMinK,
                     float rangeSpanK);

// Statistics and gain control.
std::uint16_t mean(const Levels& levels);
Counts counted(const Levels& levels);
Counts withoutGaps(Counts counts);
Levels through(const Levels& table, Levels levels);
Levels shifted(Levels levels, int offset);
Levels mapped(Levels levels, int low, int high);
/// Of a histogram that is not empty.
Levels gainTable(const Counts& histogram, int low, int high, float weight, int steepest);
Floats contrast(const Counts& counts, std::size_t pixels, float clipFraction);

/// Replaces in list order; returns all neighbours in use.
std::vector<std::pair<int, int>> repairDefects(Picture& picture, std::vector<std::pair<int, int>> list,
                                               bool blank);

// The 81 pixels in the middle of the turned picture, and what they say: temperature, noise.
Floats target(const Picture& picture, int degrees);
Floats measuredTarget(const Floats& levels, float rangeMinK, float rangeSpanK, float emissivity);

// Resampling and filter.
Levels turned(const Picture& in, double degrees);
Levels interpolated(const Picture& in, float zoom, int method);
Levels zoomedByBlocks(const Picture& in, long long factor);
Levels filtered(const Picture& in, float sigma);
float noiseSigma(const Picture& in);

// Stripes. Offsets and votes: 8 segments, each with one value per column or row.
Levels columnGates(const Picture& in);  ///< step, reach
Levels rowGates(const Picture& in);     ///< offset, reach
struct Votes {
  std::vector<std::int32_t> sums, voters;
};
Votes columnVotes(const Picture& in, int step, int reach);
Floats columnOffsets(const Votes& votes, const Picture& in);
Floats rowOffsets(const Picture& in, int offset, int reach);
/// Of each column (row) what six of eight segments agree on.
Floats agreed(const Floats& offsets, std::size_t stripes, float removed, float limit);
/// The offsets, rounded, taken from columns or rows. What is no number moves nothing.
Levels withoutStripes(const Picture& in, const Floats& offsets, bool columns);

}  // namespace plain
