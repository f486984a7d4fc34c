// Flat-field tables (.ffc) of any size, and what corrects with them.
#include <array>
#include <bit>
#include <cmath>

#include "calibration/ffcFile.h"
#include "memoryFile.h"
#include "processing/kernels/flatFieldTables.h"

namespace {

/// Of a file with these bytes and of one that holds what was read.
void checkFiles(const fuzzing::Bytes& bytes, const image<unsigned int>& table, unsigned short frames,
                float temperature, bool read) {
  const std::string& path = fuzzing::MemoryFile::of(bytes);
  image<unsigned int> again(table.width, table.height);
  const auto isSame = [&](bool loaded, unsigned short count, float degrees) {
    return loaded == read && count == frames &&
           std::bit_cast<std::uint32_t>(degrees) == std::bit_cast<std::uint32_t>(temperature) &&
           std::equal(table.data, table.data + table.pixelCount(), again.data);
  };
  unsigned short count = 0;
  float degrees = 0.0f;
  const bool loaded = loadFFC(&again, count, degrees, path);
  fuzzing::require(isSame(loaded, count, degrees));
  fuzzing::require(!loadFFC(nullptr, count, degrees, path));
  fuzzing::require(!saveFFC(table, frames, temperature, fuzzing::MemoryFile::folder));
  if (!read) return;

  fuzzing::require(saveFFC(table, frames, temperature, path));
  again.clear();
  fuzzing::require(loadFFC(&again, count, degrees, path) && isSame(true, count, degrees));
  fuzzing::require(calibration::peekFFC(path, table.width, table.height, count, degrees) ==
                   calibration::isUsableFFC(frames, temperature));
  fuzzing::require(!calibration::peekFFC(path, table.width + 1u, table.height + 1u, count, degrees));
}

}  // namespace

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
  const bool read = calibration::readFFC(bytes, table, frames, temperature);
  if (fuzzing::isOneIn(16, bytes)) checkFiles(bytes, table, frames, temperature, read);
  if (!read) {
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
