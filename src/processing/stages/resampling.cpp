#include <algorithm>
#include <cmath>

#include "common/numerics.h"
#include "processing/kernels/interpolation.h"
#include "processing/runBands.h"
#include "processing/stages/stages.h"

namespace {

using kernels::Interpolation;

bool usableZoom(float zoom) { return std::isfinite(zoom) && zoom > 0.0f; }

/// At this zoom a picture stays as it is.
bool plain(float zoom) { return zoom == 1.0f || !usableZoom(zoom); }

void interpolate(FrameContext& frame, const image<unsigned short>& from, image<unsigned short>& to,
                 kernels::InterpolationWeights& weights, float zoom, std::uint8_t method) {
  if (plain(zoom)) return copyImage(from, to);
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

/// A picture of the output's size; zooms may change while frames flow, and the first frame pays for it.
image<unsigned short>& likeOutput(FrameContext& frame, image<unsigned short>& picture) {
  const image<unsigned short>& output = frame.data.outputImage;
  if (picture.empty()) picture.allocate(output.width, output.height);
  return picture;
}

/// Where the first resampling leaves its result: the working image itself where it changes nothing.
image<unsigned short>& resampleFirst(FrameContext& frame) {
  auto& data = frame.data;
  const float zoom = data.output.zoomFactor;
  const bool digital = frame.options.digitalZoom && zoom != 1.0f;
  if (!digital && plain(zoom)) return *frame.working;
  image<unsigned short>& zoomed = likeOutput(frame, data.zoomImage);
  if (!digital) {
    constexpr auto method = static_cast<std::uint8_t>(Interpolation::lanczos3);
    interpolate(frame, *frame.working, zoomed, data.resampling.firstWeights, zoom, method);
    return zoomed;
  }
  const auto run = [factor = digitalFactor(zoom), in = frame.working->view(), out = zoomed.view()](
                       kernels::RowBand band) { kernels::zoomPixels(in, out, factor, band); };
  runBands(bandTaskCountOf(zoomed.pixelCount()), zoomed.height, run, "digitalZoom");
  return zoomed;
}

/// The output takes over a picture that nothing reads any more, with its memory for the next frame's.
void takeOver(image<unsigned short>& picture, image<unsigned short>& output) {
  if (picture.width != output.width || picture.height != output.height) return copyImage(picture, output);
  picture.swap(output);
}

/// Into the output image, or beside it for the spatial filter, which cannot work in place.
void resampleSecond(FrameContext& frame, image<unsigned short>& first) {
  auto& data = frame.data;
  ResamplingState& state = data.resampling;
  const float zoom = data.output.secondZoomFactor;
  const bool filter = filterFollows(frame);
  state.filterInput = filter ? &first : nullptr;
  if (plain(zoom)) {
    if (!filter) takeOver(first, data.outputImage);
    return;
  }
  if (filter) state.filterInput = &likeOutput(frame, state.unfilteredImage);
  interpolate(frame, first, filter ? state.unfilteredImage : data.outputImage, state.secondWeights, zoom,
              data.output.secondInterpolation);
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
  image<unsigned short>& first = resampleFirst(frame);
  if (frame.options.splitDemo) {
    keepUnfilteredCopy(frame);
  } else if (!data.splitImage.empty()) {
    data.splitImage.release();
  }
  resampleSecond(frame, first);
}
