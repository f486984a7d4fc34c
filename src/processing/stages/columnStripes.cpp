#include <algorithm>
#include <cstddef>

#include "processing/kernels/columnStripes.h"
#include "processing/runBands.h"
#include "processing/stages/stages.h"

namespace {

/// A correction that is this many frames old is refreshed on an odd frame as well: where every other frame is
/// dropped, an even one may never come.
constexpr std::uint64_t kOldestFrames = 8;

bool refreshDue(FrameContext& frame) {
  ColumnStripeState& state = frame.data.destriping.columns;
  // The ring's initial zeros have no stripes to learn from.
  if (!frame.fromFilledSlot) return false;
  if (!state.waiting) {
    state.waiting = true;
    state.refreshedAt = frame.number;
  }
  // A stream that was started again counts from 0; the difference then wraps and is large.
  const bool due = frame.number % 2 == 0 || frame.number - state.refreshedAt >= kOldestFrames;
  if (due) state.refreshedAt = frame.number;
  return due;
}

/// Measures the stripes of the working image, which the earlier passes have corrected already.
void computeColumnGradient(FrameContext& frame) {
  ColumnStripeState& state = frame.data.destriping.columns;
  const ImageView<const std::uint16_t> view = frame.working->view();
  const kernels::StepGates gates = kernels::measureColumnGates(view, state.sample);
  const auto sum = [&](kernels::RowBand columns) {
    kernels::sumColumnSteps(view, gates, columns, state.steps);
  };
  runBands(view.width, sum, "columnGradient");
  kernels::integrateColumnSteps(state.steps, view.height, state.profile, state.gradient);
}

/// Lets the pass's correction follow the gradient. The first refreshes are averaged evenly, so that a stream
/// starts with all of the correction and not with a quarter of it.
void followGradient(ColumnStripeState& state, std::size_t pass, float strength) {
  const float weight = std::max(strength, 1.0f / static_cast<float>(state.refreshes));
  const auto correction = state.correction(pass);
  for (std::size_t x = 0; x < correction.size(); ++x) {
    correction[x] += weight * (state.gradient[x] - correction[x]);
  }
}

void correctColumnNoise(FrameContext& frame, std::size_t pass) {
  ColumnStripeState& state = frame.data.destriping.columns;
  const ImageView<std::uint16_t> view = frame.working->view();
  state.shifts.round(state.correction(pass));
  const auto shift = [&](kernels::RowBand rows) { kernels::shiftColumns(view, state.shifts, rows); };
  runBands(view.height, shift, "columnNoise");
}

}  // namespace

void removeColumnStripes(FrameContext& frame) {
  Destriping& destriping = frame.data.destriping;
  ColumnStripeState& state = destriping.columns;
  if (frame.calibrating() || destriping.columnDestripingPasses <= 0) {
    // What comes after may look quite different, in a calibration for its new tables.
    if (state.waiting) state.forget();
    return;
  }
  if (frame.working->width != state.width) return;
  const auto passes = static_cast<std::size_t>(destriping.columnDestripingPasses);
  state.reserve(passes);
  const bool refresh = refreshDue(frame);
  if (refresh) ++state.refreshes;
  for (std::size_t pass = 0; pass < passes; ++pass) {
    if (refresh) {
      computeColumnGradient(frame);
      followGradient(state, pass, destriping.strength);
    }
    correctColumnNoise(frame, pass);
  }
}
