// Flat-field tables (.ffc) of any size, and what corrects with them.
#include <array>

#include "calibration/ffcFile.h"
#include "fuzzing.h"
#include "processing/kernels/flatFieldTables.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto width = provider.ConsumeIntegralInRange<std::uint16_t>(0, 9);
  const auto height = provider.ConsumeIntegralInRange<std::uint16_t>(0, 9);
  const auto weight = provider.ConsumeProbability<float>();
  const std::pair<int, int> defects[] = {{provider.ConsumeIntegral<std::int8_t>(), 0}, {0, 1}};
  const auto bytes = fuzzing::rest(provider);

  image<unsigned int> table(width, height);
  unsigned short frames = 0;
  float temperature = 0.0f;
  if (!calibration::readFFC(bytes, table, frames, temperature)) {
    fuzzing::require(frames == 0);
    return 0;
  }
  getFFCMean(table, frames);
  const std::uint32_t level = calibration::levelOfTheMiddle(table, frames, defects);
  if (!calibration::isUsableFFC(frames, temperature)) return 0;

  const image<unsigned int> other(width, height);
  image<unsigned short> picture(width, height);
  std::vector<float> levels(table.pixelCount()), kelvin(table.pixelCount());
  kernels::showTable(table.view(), frames, picture.view());
  kernels::correctOffset(picture.view(), table.view(), level, frames);
  kernels::correctOffset(picture.view(), table.view(), other.view(), level, frames, weight);
  kernels::correctWithReferences(picture.view(), {table.view(), other.view(), other.view(), table.view()},
                                 frames, weight, 233.15f, 262.14f, {levels, kelvin});
  return 0;
}
