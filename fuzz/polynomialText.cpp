// Coefficients as text, in every line format. What was read, written out and read again is the same.
#include <bit>
#include <cmath>

#include "calibration/coefficientText.h"
#include "calibration/polynomialFiles.h"
#include "memoryFile.h"

namespace {

using namespace calibration;

bool same(float a, float b) {
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) ||
         (std::isnan(a) && std::isnan(b));
}

constexpr std::string_view kFormulas[] = {kLinearFormula, kQuadraticOffsetFormula, kCubicFormula,
                                          kLogarithmicFormula, "another"};

/// Files that a camera would load, of the formats that the formula and not the target chooses; then such that
/// hold what was read.
void checkFiles(const fuzzing::Bytes& bytes, CoefficientGroup group, std::vector<ffcPixelPolyfit> table,
                std::uint16_t width, std::uint16_t height) {
  std::string formula(kFormulas[bytes.size() % std::size(kFormulas)]);
  const std::string& path = fuzzing::MemoryFile::of(bytes);
  std::vector<ffcPixelPolyfit> again(table.size());
  loadPFFCGain(again.data(), formula, width, height, path);
  loadPFFCOffset(again.data(), formula, width, height, path);
  const bool gain = group == CoefficientGroup::gain;
  const bool any = !table.empty();
  const auto secondSame = [&] {
    for (std::size_t i = 0; i < table.size(); ++i) {
      for (const auto field : binaryFields(group).first(2)) {
        // The first of the logarithmic offset is in millions, which round.
        if (!gain && field == &ffcPixelPolyfit::o0 && formula == kLogarithmicFormula) continue;
        if (!same(table[i].*field, again[i].*field)) return false;
      }
    }
    return true;
  };
  const auto passes = [&](bool saved, auto load) {
    fuzzing::require(saved == any);
    if (saved) fuzzing::require(load() && secondSame());
  };
  const ffcPixelPolyfit* const from = table.data();
  ffcPixelPolyfit* const to = again.data();
  if (gain) {
    passes(savePFFCP1GainData(from, width, height, path),
           [&] { return loadPFFCP1GainData(to, width, height, path); });
    passes(savePFFCP2GainData(from, formula, width, height, path),
           [&] { return loadPFFCP2GainData(to, formula, width, height, path); });
  } else {
    passes(savePFFCP1OffsetData(from, width, height, path),
           [&] { return loadPFFCP1OffsetData(to, width, height, path); });
    passes(savePFFCP2OffsetData(from, formula, width, height, path),
           [&] { return loadPFFCP2OffsetData(to, formula, width, height, path); });
  }
  fuzzing::require(!loadPFFCP1GainData(to, width, height, ""));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto group = provider.ConsumeBool() ? CoefficientGroup::gain : CoefficientGroup::offset;
  constexpr CoefficientLine kFormats[] = {CoefficientLine::firstOrder, CoefficientLine::quadratic,
                                          CoefficientLine::logarithmicGain,
                                          CoefficientLine::logarithmicOffset};
  const CoefficientLine format = provider.PickValueInArray(kFormats);
  const auto width = static_cast<std::uint16_t>(provider.ConsumeIntegralInRange<std::uint32_t>(0, 4));
  const auto height = static_cast<std::uint16_t>(provider.ConsumeIntegralInRange<std::uint32_t>(0, 4));
  const auto bytes = fuzzing::rest(provider);

  std::vector<ffcPixelPolyfit> table(std::size_t{width} * height), again(table.size());
  CoefficientProgress progress;
  const bool read = readCoefficientText(bytes, group, format, table, width, height, progress);
  if (fuzzing::isOneIn(16, bytes)) checkFiles(bytes, group, table, width, height);
  if (!read) {
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
