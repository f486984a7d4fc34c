#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "common/image.h"
#include "processing/kernels/interpolation.h"
#include "processing/rowBands.h"

/// Scratch values for the bands of one stage, each with a part of its own. Keeps its memory from frame to
/// frame; grows when a stage first needs it or the task count changes.
class BandScratch {
 public:
  /// Makes room for `perBand` values for every band of `height` rows split into `tasks`.
  void prepare(std::uint32_t tasks, std::uint32_t height, std::size_t perBand);
  /// The part of `band`, one of those that were prepared for.
  std::span<float> of(kernels::RowBand band) {
    return {values.data() + band.first / rowsPerBand * valuesPerBand, valuesPerBand};
  }
  void release() { *this = {}; }

 private:
  std::vector<float> values;
  std::size_t valuesPerBand = 0;
  std::size_t rowsPerBand = 1;
};

/// What resampling and spatial filter keep between frames.
struct ResamplingState {
  kernels::InterpolationWeights firstWeights;
  kernels::InterpolationWeights secondWeights;
  kernels::InterpolationWeights splitWeights;
  image<unsigned short> unfilteredImage;  ///< a second resampling's result while the filter runs; else empty
  const image<unsigned short>* filterInput = nullptr;  ///< of this frame; null: the filter rests
  float noiseSigma = -1.0f;  ///< smoothed noise of the output image, levels; -1 until measured
  BandScratch scratch;
};
