#include "processing/kernels/rowStripes.h"
#include "processing/runBands.h"
#include "processing/stages/stages.h"

namespace {

/// Two passes at the usual strength of 0.25 take 0.8 of what they measure each: all of it at once would add
/// as much noise of the neighbouring rows as it removes.
constexpr float kGainPerStrength = 3.2f;

void computeRowGradient(FrameContext& frame) {
  RowStripeState& state = frame.data.destriping.rows;
  const ImageView<const std::uint16_t> view = frame.working->view();
  const std::int32_t gate = kernels::measureRowGate(view, state.sample);
  const auto measure = [&](kernels::RowBand rows) {
    kernels::measureRowOffsets(view, gate, rows, state.gradient);
  };
  runBands(view.height, measure, "rowGradient");
}

void correctRowNoise(FrameContext& frame) {
  const Destriping& destriping = frame.data.destriping;
  const ImageView<std::uint16_t> view = frame.working->view();
  const float gain = kGainPerStrength * destriping.strength;
  const auto shift = [&](kernels::RowBand rows) {
    kernels::shiftRows(view, destriping.rows.gradient, gain, rows);
  };
  runBands(view.height, shift, "rowNoise");
}

}  // namespace

void removeRowStripes(FrameContext& frame) {
  const Destriping& destriping = frame.data.destriping;
  if (frame.calibrating() || frame.working->height != destriping.rows.gradient.size()) return;
  for (std::int32_t pass = 0; pass < destriping.rowDestripingPasses; ++pass) {
    computeRowGradient(frame);
    correctRowNoise(frame);
  }
}
