#include "processing/kernels/spatialFilter.h"

#include <algorithm>
#include <utility>

#include "processing/runBands.h"
#include "processing/stages/stages.h"

namespace {

/// Below this the gain control has stretched so little that filtering would only take detail.
constexpr float kLeastSigma = 64.0f;
constexpr float kEarlierWeight = 0.9f;

/// The noise to filter against: smoothed from frame to frame, for the scene moves the estimate.
float smoothedSigma(FrameContext& frame) {
  float& state = frame.data.resampling.noiseSigma;
  const float current = kernels::noiseSigma(frame.data.outputImage.view());
  // The ring's initial zeros say nothing about the camera's noise.
  if (!frame.fromFilledSlot) return std::max(current, kLeastSigma);
  const float previous = state == kNotInitialised ? current : state;
  state = previous * kEarlierWeight + current * (1.0f - kEarlierWeight);
  return std::max(state, kLeastSigma);
}

}  // namespace

void filterSpatially(FrameContext& frame) {
  OutputState& output = frame.data.output;
  if (!output.spatialFiltering || frame.calibrating() || frame.shutterRun()) {
    output.spatialFilterState = OutputState::spatialFilterOff;
    return;
  }
  output.spatialFilterState = OutputState::spatialFilterRunning;
  image<unsigned short>& picture = frame.data.outputImage;
  ResamplingState& state = frame.data.resampling;
  const float sigma = smoothedSigma(frame);
  const std::uint32_t tasks = bandTaskCount();
  state.scratch.prepare(tasks, picture.height, kernels::filterScratch(picture.width));
  const auto run = [sigma, &scratch = state.scratch, in = std::as_const(picture).view(),
                    out = state.filteredImage.view()](kernels::RowBand band) {
    kernels::filterImage(in, out, sigma, band, scratch.of(band));
  };
  runBands(tasks, picture.height, run, "filterImage");
  // The windows read rows of neighbouring bands, so the result needs an image of its own.
  picture.swap(state.filteredImage);
}
