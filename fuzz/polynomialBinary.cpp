// Coefficients as binary tables, and the correction that evaluates them at any temperature.
#include <algorithm>
#include <bit>

#include "calibration/polynomialFiles.h"
#include "fuzzing.h"
#include "processing/kernels/polynomialFlatField.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using calibration::CoefficientGroup;
  fuzzing::Provider provider(data, size);
  const auto model = provider.PickValueInArray({PolynomialModel::unknown, PolynomialModel::linear,
                                                PolynomialModel::quadraticOffset, PolynomialModel::cubic,
                                                PolynomialModel::logarithmic});
  const auto temperature = std::bit_cast<float>(provider.ConsumeIntegral<std::uint32_t>());
  const auto level = provider.ConsumeIntegral<std::uint16_t>();
  const auto gainBytes = provider.ConsumeIntegral<std::uint8_t>();
  const auto bytes = fuzzing::rest(provider);
  const std::span<const std::uint8_t> all(bytes);
  const std::size_t cut = std::min<std::size_t>(gainBytes, all.size());

  std::vector<ffcPixelPolyfit> table(cut / 12);
  calibration::readBinaryCoefficients(all.first(cut), CoefficientGroup::gain, table);
  calibration::readBinaryCoefficients(all.subspan(cut), CoefficientGroup::offset, table);
  std::vector<float> gain(table.size()), offset(table.size());
  std::vector<std::uint16_t> pixels(table.size(), level);
  if (!kernels::evaluatePolynomials(table, model, kernels::PolynomialTerms(temperature), gain, offset))
    return 0;
  kernels::ValueRange range;
  range.add(gain);
  kernels::applyGainAndOffset(pixels, gain, offset, kernels::LevelScale(233.15f, 262.14f));
  return 0;
}
