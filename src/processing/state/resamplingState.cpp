#include "processing/state/resamplingState.h"

#include <algorithm>

void BandScratch::prepare(std::uint32_t tasks, std::uint32_t height, std::size_t perBand) {
  const kernels::RowBand first = kernels::rowBand(0, tasks, height);
  rowsPerBand = std::max<std::size_t>(first.end, 1);
  valuesPerBand = perBand;
  const std::size_t bands = (height + rowsPerBand - 1) / rowsPerBand;
  if (values.size() < bands * perBand) values.resize(bands * perBand);
}
