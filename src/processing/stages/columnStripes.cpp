#include <algorithm>
#include <cstddef>
#include <span>

#include "processing/kernels/columnStripes.h"
#include "processing/kernels/flatFieldTables.h"
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

/// Whether the manual table will take its stripes out of this frame.
bool tableFollows(const FrameContext& frame) {
  const ManualTable& manual = frame.data.manual;
  return frame.data.flatField.flatFieldCorrection && manual.usable() &&
         manual.sums.pixelCount() == frame.working->pixelCount();
}

/// The image whose stripes count. Those in the manual table go by themselves, and whatever was taken out of
/// them here the table would put back in.
ImageView<std::uint16_t> measuredImage(FrameContext& frame) {
  ColumnStripeState& state = frame.data.destriping.columns;
  const ImageView<std::uint16_t> all = frame.working->view();
  if (!state.beforeTable || state.remainder.size() != all.pixelCount()) return all;
  const ManualTable& manual = frame.data.manual;
  const ImageView<std::uint16_t> remainder{state.remainder.data(), all.width, all.height};
  const auto subtract = [&](kernels::RowBand rows) {
    const std::uint32_t height = rows.end - rows.first;
    std::copy_n(all.row(rows.first), std::size_t{height} * all.width, remainder.row(rows.first));
    kernels::correctOffset({remainder.row(rows.first), all.width, height},
                           {manual.sums.view().row(rows.first), all.width, height}, manual.mean,
                           manual.frames);
  };
  runBands(bandTaskCountOf(all.pixelCount()), all.height, subtract, "columnRemainder");
  return remainder;
}

/// Measures the stripes of an image.
void computeColumnGradient(FrameContext& frame, ImageView<const std::uint16_t> view,
                           kernels::StepGates gates) {
  ColumnStripeState& state = frame.data.destriping.columns;
  const auto sum = [&](kernels::RowBand segments) {
    kernels::sumColumnVotes(view, gates, segments, state.votes);
  };
  runBands(bandTaskCountOf(view.pixelCount()), kernels::kStripeSegments, sum, "columnGradient");
  kernels::measureColumnOffsets(state.votes, view.height, state.profile, state.sums, state.offsets);
}

/// Lets the corrections of a group follow the gradient. What one pass leaves to the next is known without
/// looking at the pixels again, as the rows that vote are the same. The first refreshes are averaged evenly,
/// so that a stream starts with all of the correction and not with a quarter of it.
void followGradient(ColumnStripeState& state, ColumnStripeState::PassGroup passes, float strength) {
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

/// Takes the offsets, rounded, off each column.
void correctColumnNoise(FrameContext& frame, ImageView<std::uint16_t> view, std::span<const float> offsets) {
  ColumnStripeState& state = frame.data.destriping.columns;
  state.shifts.round(offsets);
  const auto shift = [&](kernels::RowBand rows) { kernels::shiftColumns(view, state.shifts, rows); };
  runBands(bandTaskCountOf(view.pixelCount()), view.height, shift, "columnNoise");
}

void correctPasses(FrameContext& frame, std::size_t passes) {
  ColumnStripeState& state = frame.data.destriping.columns;
  const bool refresh = refreshDue(frame);
  if (refresh) ++state.refreshes;
  const ImageView<std::uint16_t> picture = frame.working->view();
  if (state.beforeTable) correctColumnNoise(frame, picture, state.base);
  const ImageView<std::uint16_t> measured = refresh ? measuredImage(frame) : picture;
  // Strong stripes hide their steps from the first look. Once most of them are gone, a second one through the
  // same gates finds the rest; further ones would find nothing new.
  kernels::StepGates gates;
  if (refresh) gates = kernels::measureColumnGates(measured, state.sample);
  for (const auto group : ColumnStripeState::groups(passes)) {
    if (group.first == group.end) continue;
    if (refresh) {
      computeColumnGradient(frame, measured, gates);
      followGradient(state, group, frame.data.destriping.strength);
    }
    state.addUp(group);
    correctColumnNoise(frame, picture, state.total);
    const bool measuredAgain = refresh && group.end < passes;
    if (measuredAgain && measured.data != picture.data) correctColumnNoise(frame, measured, state.total);
  }
}

}  // namespace

void removeColumnStripes(FrameContext& frame) {
  Destriping& destriping = frame.data.destriping;
  ColumnStripeState& state = destriping.columns;
  if (!frame.shutterRun()) state.holding = false;
  if (frame.calibrating() || destriping.columnDestripingPasses <= 0) {
    // What comes after may look quite different, in a calibration for its new tables.
    if (state.waiting) state.forget();
    // A run that was asked for in the middle of this frame does not sum it.
    if (frame.shutterRun() && !frame.calibrating()) state.hold(0);
    return;
  }
  if (frame.working->width != state.width) return;
  const auto passes = static_cast<std::size_t>(destriping.columnDestripingPasses);
  state.reserve(passes);
  if (frame.shutterRun()) {
    // Another estimate for every frame would get into the table.
    state.hold(passes);
    return correctColumnNoise(frame, frame.working->view(), state.held);
  }
  if (const bool follows = tableFollows(frame); follows != state.beforeTable) {
    state.forget();
    state.beforeTable = follows;
  }
  correctPasses(frame, passes);
}
