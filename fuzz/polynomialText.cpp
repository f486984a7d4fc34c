// Coefficients as text, in every line format. What was read, written out and read again is the same.
#include <bit>
#include <cmath>

#include "calibration/coefficientText.h"
#include "fuzzing.h"

namespace {

using namespace calibration;

bool same(float a, float b) {
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) ||
         (std::isnan(a) && std::isnan(b));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto group = provider.ConsumeBool() ? CoefficientGroup::gain : CoefficientGroup::offset;
  constexpr CoefficientLine kFormats[] = {CoefficientLine::firstOrder, CoefficientLine::quadratic,
                                          CoefficientLine::logarithmicGain,
                                          CoefficientLine::logarithmicOffset};
  const CoefficientLine format = provider.PickValueInArray(kFormats);
  const auto width = provider.ConsumeIntegralInRange<std::uint32_t>(0, 4);
  const auto height = provider.ConsumeIntegralInRange<std::uint32_t>(0, 4);
  const auto bytes = fuzzing::rest(provider);

  std::vector<ffcPixelPolyfit> table(std::size_t{width} * height), again(table.size());
  CoefficientProgress progress;
  if (!readCoefficientText(bytes, group, format, table, width, height, progress)) {
    fuzzing::require(progress.line >= 1 && progress.x < width && progress.y < height);
    return 0;
  }
  const std::string text = writeCoefficientText(group, format, table, width, height);
  const std::span<const std::uint8_t> written(reinterpret_cast<const std::uint8_t*>(text.data()),
                                              text.size());
  fuzzing::require(readCoefficientText(written, group, format, again, width, height, progress));
  if (format == CoefficientLine::logarithmicOffset) return 0;  // its millions round
  for (std::size_t i = 0; i < table.size(); ++i) {
    for (const auto field : binaryFields(group)) fuzzing::require(same(table[i].*field, again[i].*field));
  }
  return 0;
}
