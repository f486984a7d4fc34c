// Metadata of polynomial flat-field files (.pffc).
#include <cmath>

#include "calibration/polynomialFiles.h"
#include "memoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto bytes = fuzzing::rest(provider);
  float low = -1.0f, high = -1.0f;
  std::string formula = "as before";
  const bool read = calibration::readPFFCMetadata(bytes, low, high, formula);
  if (fuzzing::isOneIn(16, bytes) && bytes.size() <= 4096) {
    const std::string& path = fuzzing::MemoryFile::of(bytes);
    float lowAgain = -1.0f, highAgain = -1.0f;
    std::string formulaAgain = "as before";
    const auto isSame = [&] { return lowAgain == low && highAgain == high && formulaAgain == formula; };
    fuzzing::require(loadPFFCMetadata(lowAgain, highAgain, formulaAgain, path) == read && isSame());
    if (read) {
      fuzzing::require(savePFFCMetadata(low, high, formula, path));
      fuzzing::require(loadPFFCMetadata(lowAgain, highAgain, formulaAgain, path) && isSame());
    }
    fuzzing::require(!savePFFCMetadata(low, high, formula, fuzzing::MemoryFile::folder));
    fuzzing::require(!loadPFFCMetadata(low, high, formula, "") &&
                     !loadPFFCMetadata(low, high, formula, fuzzing::MemoryFile::folder));
  }
  if (read) {
    fuzzing::require(std::isfinite(low) && std::isfinite(high) && !formula.empty());
    polynomialModel(formula);
    calibration::secondOrderLine(calibration::CoefficientGroup::offset, formula);
  } else {
    fuzzing::require(low == -1.0f && high == -1.0f && formula == "as before");
  }
  return 0;
}
