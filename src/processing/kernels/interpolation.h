#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "common/views.h"
#include "processing/rowBands.h"

namespace kernels {

/// How `interpolateImage` finds a level between pixels. Any other number counts as bilinear.
enum class Interpolation : std::uint8_t { nearest = 0, bilinear = 1, catmullRom = 2, lanczos3 = 3 };

/// For every output column (or row): which source pixels it is made of, and their weights.
struct AxisWeights {
  std::uint32_t taps = 0;            ///< source pixels per output pixel away from the edges
  std::vector<std::uint32_t> first;  ///< first source pixel
  std::vector<std::uint32_t> count;  ///< source pixels, at most `taps`; they stay within the image
  std::vector<float> weights;        ///< room for `taps` per output pixel; those in use add up to 1
};

/// The weights of one zoom, made once and kept while zoom, method and size stay.
struct InterpolationWeights {
  /// A zoom that is not finite or not positive counts as 1. Keeps its memory; a call that changes nothing
  /// returns at once.
  void prepare(float zoomFactor, std::uint8_t interpolation, std::uint32_t imageWidth,
               std::uint32_t imageHeight);
  /// A copy, whatever the method: no pixel needs a neighbour.
  bool identity() const { return zoom == 1.0f; }

  float zoom = 0.0f;
  Interpolation method = Interpolation::nearest;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  AxisWeights columns;
  AxisWeights rows;
};

/// Values that one band of `interpolateImage` needs as scratch.
std::size_t interpolationScratch(std::uint32_t width);

/// Shows the middle 1 / zoom of `in` on the whole of `out`, an image of the same size: pixel centres lie
/// over each other about the centre of the image, and beyond an edge its pixels go on. Lanczos results stay
/// within the range of the pixels they are made of. Results are rounded.
/// Writes the rows of `band`. scratch: `interpolationScratch` values, of this band alone.
void interpolateImage(ImageView<const std::uint16_t> in, ImageView<std::uint16_t> out,
                      const InterpolationWeights& weights, RowBand band, std::span<float> scratch);

/// Integer zoom: every pixel of the centre becomes a block of factor x factor pixels. The blocks at the
/// edges are cut where the size is no multiple. A factor of 0 counts as 1. Writes the rows of `band`.
void zoomPixels(ImageView<const std::uint16_t> in, ImageView<std::uint16_t> out, std::uint32_t factor,
                RowBand band);

}  // namespace kernels
