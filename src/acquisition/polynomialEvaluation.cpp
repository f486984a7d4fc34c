#include <cmath>
#include <cstddef>
#include <span>

#include "acquisition/imageAcquisition.h"
#include "common/mutex.h"
#include "processing/kernels/polynomialFlatField.h"
#include "processing/runBands.h"

namespace {

template <typename T>
std::span<T> rowsOf(std::span<T> pixels, kernels::RowBand band, std::size_t width) {
  return pixels.subspan(band.first * width, (band.end - band.first) * width);
}

struct Ranges {
  kernels::ValueRange gain;
  kernels::ValueRange offset;
};

/// Fills both maps; the ranges of what they hold stay unknown but for the cubic model.
Ranges evaluate(const PolynomialFlatField& polynomials, float temperatureK, image<float>& gainMap,
                image<float>& offsetMap) {
  const kernels::PolynomialTerms terms(temperatureK);
  Mutex mutex;
  Ranges ranges;
  const auto evaluateRows = [&](kernels::RowBand band) {
    const auto gain = rowsOf(gainMap.view().pixels(), band, gainMap.width);
    const auto offset = rowsOf(offsetMap.view().pixels(), band, offsetMap.width);
    const auto coefficients = rowsOf(std::span(polynomials.coefficients), band, gainMap.width);
    kernels::evaluatePolynomials(coefficients, polynomials.model, terms, gain, offset);
    if (polynomials.model != PolynomialModel::cubic) return;
    Ranges ofBand;
    ofBand.gain.add(gain);
    ofBand.offset.add(offset);
    MutexLock lock(mutex);
    ranges.gain.add(ofBand.gain);
    ranges.offset.add(ofBand.offset);
  };
  runBands(bandTaskCount(), gainMap.height, evaluateRows, "updatePolyfit");
  return ranges;
}

}  // namespace

bool imageAcquisition::updatePolyfit() {
  constexpr float kStepK = 0.01f;
  PolynomialFlatField& polynomials = processing.polynomials;
  const float temperatureK = device.sensorTemperatureK;
  const std::size_t pixels = processing.rawImage.pixelCount();
  if (polynomials.model == PolynomialModel::unknown) return false;
  if (polynomials.coefficients.empty() || polynomials.coefficients.size() != pixels) return false;
  if (!std::isfinite(temperatureK)) return false;
  if (polynomials.evaluated && std::fabs(polynomials.evaluatedK - temperatureK) < kStepK) return false;

  auto& tables = processing.flatField.ffcTables;
  for (image<float>* map : {&tables.polynomialGain, &tables.polynomialOffset}) {
    if (map->pixelCount() != pixels) map->allocate(processing.rawImage.width, processing.rawImage.height);
  }
  const Ranges ranges = evaluate(polynomials, temperatureK, tables.polynomialGain, tables.polynomialOffset);
  polynomials.evaluatedK = std::round(temperatureK * 100.0f) / 100.0f;
  polynomials.evaluated = true;
  processing.tableStage.gainRange = ranges.gain;
  processing.tableStage.offsetRange = ranges.offset;
  return true;
}
