#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "processing/kernels/rowStripes.h"
#include "processing/runBands.h"
#include "processing/stages/stages.h"

namespace {

/// Two passes at the usual strength of 0.25 take 0.8 of what they measure each: all of it at once would add
/// as much noise of the neighbouring rows as it removes.
constexpr float kGainPerStrength = 3.2f;

/// Measures the rows of the frame once for all passes, as with the columns.
void computeRowGradient(FrameContext& frame) {
  RowStripeState& state = frame.data.destriping.rows;
  const ImageView<const std::uint16_t> view = frame.working->view();
  const kernels::RowGates gates = kernels::measureRowGates(view, state.sample);
  const auto measure = [&](kernels::RowBand rows) {
    kernels::measureRowOffsets(view, gates, rows, state.offsets);
  };
  runBands(bandTaskCountOf(view.pixelCount()), view.height, measure, "rowGradient");
  state.offsets.sort();
}

/// Adds up what the passes take from each row.
void followGradient(RowStripeState& state, std::int32_t passes, float gain) {
  std::vector<float>& total = state.total;
  const auto height = static_cast<std::uint32_t>(total.size());
  std::fill(total.begin(), total.end(), 0.0f);
  if (height < kernels::kRowsCompared) return;
  for (std::int32_t pass = 0; pass < passes; ++pass) {
    for (std::uint32_t y = 0; y < height; ++y) {
      const auto around = kernels::RowNeighbours::of(y, height);
      const float before = total[around.before[0]] + total[around.before[1]];
      const float after = total[around.after[0]] + total[around.after[1]];
      state.removed[y] = total[y] - 0.25f * (before + after);
    }
    for (std::uint32_t y = 0; y < height; ++y) {
      total[y] += gain * state.offsets.remaining(y, state.removed[y], kernels::kLargestRowOffset);
    }
  }
}

void correctRowNoise(FrameContext& frame) {
  const ImageView<std::uint16_t> view = frame.working->view();
  const auto& total = frame.data.destriping.rows.total;
  const auto shift = [&](kernels::RowBand rows) { kernels::shiftRows(view, total, rows); };
  runBands(bandTaskCountOf(view.pixelCount()), view.height, shift, "rowNoise");
}

}  // namespace

void removeRowStripes(FrameContext& frame) {
  Destriping& destriping = frame.data.destriping;
  const std::int32_t passes = destriping.rowDestripingPasses;
  if (frame.calibrating() || passes <= 0) return;
  if (frame.working->height != destriping.rows.total.size()) return;
  computeRowGradient(frame);
  followGradient(destriping.rows, passes, kGainPerStrength * destriping.strength);
  correctRowNoise(frame);
}
