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

/// The passes [first, end), which share what is measured of a frame.
struct PassGroup {
  std::size_t first, end;
};

/// Measures the stripes of the working image.
void computeColumnGradient(FrameContext& frame, kernels::StepGates gates) {
  ColumnStripeState& state = frame.data.destriping.columns;
  const ImageView<const std::uint16_t> view = frame.working->view();
  const auto sum = [&](kernels::RowBand segments) {
    kernels::sumColumnVotes(view, gates, segments, state.votes);
  };
  runBands(kernels::kStripeSegments, sum, "columnGradient");
  kernels::measureColumnOffsets(state.votes, view.height, state.profile, state.sums, state.offsets);
}

/// Lets the corrections of a group follow the gradient. What one pass leaves to the next is known without
/// looking at the pixels again, as the rows that vote are the same. The first refreshes are averaged evenly,
/// so that a stream starts with all of the correction and not with a quarter of it.
void followGradient(ColumnStripeState& state, PassGroup passes, float strength) {
  const float weight = std::max(strength, 1.0f / static_cast<float>(state.refreshes));
  std::fill(state.total.begin(), state.total.end(), 0.0f);
  for (std::size_t pass = passes.first; pass < passes.end; ++pass) {
    kernels::removeColumnTrend(state.total, state.sums, state.removed);
    const auto correction = state.correction(pass);
    for (std::size_t x = 0; x < correction.size(); ++x) {
      const float gradient = state.offsets.remaining(x, state.removed[x], kernels::kLargestColumnOffset);
      correction[x] += weight * (gradient - correction[x]);
      state.total[x] += correction[x];
    }
  }
}

/// Takes the corrections of a group in one go.
void correctColumnNoise(FrameContext& frame, PassGroup passes) {
  ColumnStripeState& state = frame.data.destriping.columns;
  const ImageView<std::uint16_t> view = frame.working->view();
  std::fill(state.total.begin(), state.total.end(), 0.0f);
  for (std::size_t pass = passes.first; pass < passes.end; ++pass) {
    const auto correction = state.correction(pass);
    for (std::size_t x = 0; x < correction.size(); ++x) state.total[x] += correction[x];
  }
  state.shifts.round(state.total);
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
  // Strong stripes hide their steps from the first look. Once most of them are gone, a second one through the
  // same gates finds the rest; further ones would find nothing new.
  kernels::StepGates gates;
  if (refresh) gates = kernels::measureColumnGates(frame.working->view(), state.sample);
  for (const PassGroup group : {PassGroup{0, 1}, PassGroup{1, passes}}) {
    if (group.first == group.end) continue;
    if (refresh) {
      computeColumnGradient(frame, gates);
      followGradient(state, group, destriping.strength);
    }
    correctColumnNoise(frame, group);
  }
}
