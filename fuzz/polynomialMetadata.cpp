// Metadata of polynomial flat-field files (.pffc).
#include <cmath>

#include "calibration/polynomialFiles.h"
#include "fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto bytes = fuzzing::rest(provider);
  float low = -1.0f, high = -1.0f;
  std::string formula = "as before";
  if (calibration::readPFFCMetadata(bytes, low, high, formula)) {
    fuzzing::require(std::isfinite(low) && std::isfinite(high) && !formula.empty());
    polynomialModel(formula);
    calibration::secondOrderLine(calibration::CoefficientGroup::offset, formula);
  } else {
    fuzzing::require(low == -1.0f && high == -1.0f && formula == "as before");
  }
  return 0;
}
