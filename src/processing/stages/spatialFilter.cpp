#include "processing/kernels/spatialFilter.h"

#include <algorithm>

#include "processing/runBands.h"
#include "processing/stages/stages.h"

namespace {

/// Below this the gain control has stretched so little that filtering would only take detail.
constexpr float kLeastSigma = 64.0f;
constexpr float kEarlierWeight = 0.9f;

/// The noise to filter against: smoothed from frame to frame, for the scene moves the estimate.
float smoothedSigma(FrameContext& frame) {
  float& state = frame.data.resampling.noiseSigma;
  const float current = kernels::noiseSigma(frame.data.resampling.filterInput->view());
  // The ring's initial zeros say nothing about the camera's noise.
  if (!frame.fromFilledSlot) return std::max(current, kLeastSigma);
  const float previous = state == kNotInitialised ? current : state;
  state = previous * kEarlierWeight + current * (1.0f - kEarlierWeight);
  return std::max(state, kLeastSigma);
}

}  // namespace

void filterSpatially(FrameContext& frame) {
  OutputState& output = frame.data.output;
  ResamplingState& state = frame.data.resampling;
  if (!state.filterInput) {
    output.spatialFilterState = OutputState::spatialFilterOff;
    return;
  }
  output.spatialFilterState = OutputState::spatialFilterRunning;
  image<unsigned short>& picture = frame.data.outputImage;
  const float sigma = smoothedSigma(frame);
  const std::uint32_t tasks = bandTaskCountOf(picture.pixelCount());
  state.scratch.prepare(tasks, picture.height, kernels::filterScratch(picture.width));
  const auto run = [sigma, &scratch = state.scratch, in = state.filterInput->view(),
                    out = picture.view()](kernels::RowBand band) {
    kernels::filterImage(in, out, sigma, band, scratch.of(band));
  };
  runBands(tasks, picture.height, run, "filterImage");
}
