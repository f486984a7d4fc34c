#include <algorithm>
#include <cmath>

#include "common/numerics.h"
#include "processing/kernels/interpolation.h"
#include "processing/runBands.h"
#include "processing/stages/stages.h"

namespace {

using kernels::Interpolation;

bool usableZoom(float zoom) { return std::isfinite(zoom) && zoom > 0.0f; }

void interpolate(FrameContext& frame, const image<unsigned short>& from, image<unsigned short>& to,
                 kernels::InterpolationWeights& weights, float zoom, std::uint8_t method) {
  if (zoom == 1.0f || !usableZoom(zoom)) return copyImage(from, to);
  weights.prepare(zoom, method, from.width, from.height);
  const std::uint32_t tasks = bandTaskCountOf(to.pixelCount());
  BandScratch& scratch = frame.data.resampling.scratch;
  scratch.prepare(tasks, to.height, kernels::interpolationScratch(to.width));
  const auto run = [&, in = from.view(), out = to.view()](kernels::RowBand band) {
    kernels::interpolateImage(in, out, weights, band, scratch.of(band));
  };
  runBands(tasks, to.height, run, "interpolateImage");
}

/// The whole part of the first zoom; 1 below that and for what is no number.
std::uint32_t digitalFactor(float zoom) {
  return usableZoom(zoom) ? std::max(truncateToU32(double{zoom}), 1u) : 1u;
}

/// Whether the spatial filter is to follow. Asked once per frame, for an application may start a shutter run
/// at any time.
bool filterFollows(const FrameContext& frame) {
  return frame.data.output.spatialFiltering && !frame.calibrating() && !frame.shutterRun();
}

void resampleFirst(FrameContext& frame) {
  auto& data = frame.data;
  const float zoom = data.output.zoomFactor;
  if (zoom == 1.0f || !frame.options.digitalZoom) {
    constexpr auto method = static_cast<std::uint8_t>(Interpolation::lanczos3);
    return interpolate(frame, *frame.working, data.zoomImage, data.resampling.firstWeights, zoom, method);
  }
  const auto run = [factor = digitalFactor(zoom), in = frame.working->view(), out = data.zoomImage.view()](
                       kernels::RowBand band) { kernels::zoomPixels(in, out, factor, band); };
  runBands(bandTaskCountOf(data.zoomImage.pixelCount()), data.zoomImage.height, run, "digitalZoom");
}

/// Into the output image, or beside it for the spatial filter, which cannot work in place. For that one a
/// plain copy would be of no use.
void resampleSecond(FrameContext& frame) {
  auto& data = frame.data;
  ResamplingState& state = data.resampling;
  const float zoom = data.output.secondZoomFactor;
  const bool filter = filterFollows(frame);
  state.filterInput = filter ? &data.zoomImage : nullptr;
  if (filter && (zoom == 1.0f || !usableZoom(zoom))) return;
  if (filter) state.filterInput = &state.unfilteredImage;
  interpolate(frame, data.zoomImage, filter ? state.unfilteredImage : data.outputImage, state.secondWeights,
              zoom, data.output.secondInterpolation);
}

/// The plain half of the split demonstration: the working image at the zoom of both resamplings together,
/// so that the halves meet, without interpolation and without the filter that follows.
void keepUnfilteredCopy(FrameContext& frame) {
  const OutputState& output = frame.data.output;
  image<unsigned short>& split = frame.data.splitImage;
  // The switch may come on while frames flow; the first frame that sees it pays for the buffer.
  if (split.empty()) split.allocate(frame.data.outputImage.width, frame.data.outputImage.height);
  float zoom = usableZoom(output.secondZoomFactor) ? output.secondZoomFactor : 1.0f;
  if (frame.options.digitalZoom) {
    zoom *= static_cast<float>(digitalFactor(output.zoomFactor));
  } else if (usableZoom(output.zoomFactor)) {
    zoom *= output.zoomFactor;
  }
  constexpr auto method = static_cast<std::uint8_t>(Interpolation::nearest);
  interpolate(frame, *frame.working, split, frame.data.resampling.splitWeights, zoom, method);
}

}  // namespace

void resampleFrame(FrameContext& frame) {
  auto& data = frame.data;
  resampleFirst(frame);
  resampleSecond(frame);
  if (frame.options.splitDemo) {
    keepUnfilteredCopy(frame);
  } else if (!data.splitImage.empty()) {
    data.splitImage.release();
  }
}
