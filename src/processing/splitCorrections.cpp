#include "processing/splitCorrections.h"

#include <cstddef>
#include <span>

#include "processing/kernels/pixelwise.h"
#include "processing/kernels/polynomialFlatField.h"
#include "processing/runBands.h"

namespace {

template <typename T>
std::span<T> rowsOf(ImageView<T> picture, kernels::RowBand band) {
  return {picture.row(band.first), std::size_t{picture.width} * (band.end - band.first)};
}

}  // namespace

void EWMA(image<unsigned short>& frame, image<unsigned short>& state, const float& alpha,
          const unsigned int& processingUnits) {
  if (frame.width != state.width || frame.height != state.height) return;
  const auto average = [&](kernels::RowBand band) {
    kernels::averagePixels(rowsOf(frame.view(), band), rowsOf(state.view(), band), alpha);
  };
  runBands(processingUnits, frame.height, average, "EWMA");
}

void applyFFC(image<unsigned short>& frame, const image<float>& gain, const image<float>& offset,
              const float& rangeMinK, const float& rangeSpanK, const unsigned int& processingUnits) {
  const auto fits = [&frame](const image<float>& map) {
    return map.width == frame.width && map.height == frame.height;
  };
  if (!fits(gain) || !fits(offset)) return;
  const kernels::LevelScale scale(rangeMinK, rangeSpanK);
  const auto correct = [&](kernels::RowBand band) {
    kernels::applyGainAndOffset(rowsOf(frame.view(), band), rowsOf(gain.view(), band),
                                rowsOf(offset.view(), band), scale);
  };
  runBands(processingUnits, frame.height, correct, "applyFFC");
}

void applyThermographicCorrection(image<unsigned short>& frame, const std::vector<std::uint16_t>& table,
                                  const unsigned int& processingUnits) {
  if (table.size() != kLevels) return;
  const kernels::LevelTable levels(table.data(), kLevels);
  const auto correct = [&](kernels::RowBand band) {
    kernels::lookUpPixels(rowsOf(frame.view(), band), levels);
  };
  runBands(processingUnits, frame.height, correct, "applyThermographicCorrection");
}
