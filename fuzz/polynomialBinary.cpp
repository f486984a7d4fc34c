// Coefficients as binary tables, and the correction that evaluates them at any temperature.
#include <algorithm>
#include <bit>

#include "calibration/polynomialFiles.h"
#include "memoryFile.h"
#include "processing/kernels/polynomialFlatField.h"

namespace {

void checkFiles(std::span<const std::uint8_t> bytes, const std::vector<ffcPixelPolyfit>& table) {
  const auto width = static_cast<std::uint16_t>(table.size());
  std::vector<ffcPixelPolyfit> again(table.size());
  std::string formula(kCubicFormula);
  const std::string& path = fuzzing::MemoryFile::of(bytes);
  const bool fits = width > 0 && bytes.size() % 12 == 0;
  const bool loaded = calibration::loadPFFCGain(again.data(), formula, width, 1, path);
  if (fits) fuzzing::require(loaded);
  calibration::loadPFFCOffset(again.data(), formula, width, 1, path);
  fuzzing::require(saveBinaryPFFCP3OffsetData(table.data(), width, 1, path) == (width > 0));
  fuzzing::require(calibration::loadPFFCOffset(again.data(), formula, width, 1, path) == (width > 0));
  fuzzing::require(saveBinaryPFFCP2GainData(table.data(), width, 1, path) == (width > 0));
  fuzzing::require(loadBinaryPFFCP2GainData(again.data(), formula, width, 1, path) == (width > 0));
  const auto sameBits = [](float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
  };
  for (std::size_t i = 0; i < table.size(); ++i) {
    for (const auto group : {calibration::CoefficientGroup::gain, calibration::CoefficientGroup::offset}) {
      for (const auto field : calibration::binaryFields(group))
        fuzzing::require(sameBits(table[i].*field, again[i].*field));
    }
  }
  fuzzing::require(!loadBinaryPFFCP2GainData(again.data(), formula, width, 1, ""));
}

}  // namespace

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
  if (fuzzing::isOneIn(16, bytes)) checkFiles(all.first(cut), table);
  std::vector<float> gain(table.size()), offset(table.size());
  std::vector<std::uint16_t> pixels(table.size(), level);
  if (!kernels::evaluatePolynomials(table, model, kernels::PolynomialTerms(temperature), gain, offset))
    return 0;
  kernels::ValueRange range;
  range.add(gain);
  kernels::applyGainAndOffset(pixels, gain, offset, kernels::LevelScale(233.15f, 262.14f));
  return 0;
}
