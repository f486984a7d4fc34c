#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/common/selftestEvidence.h"

namespace tools::selftest {

enum class Result { Ok, Warn, Fail, Skipped };

/// One line of the self-test.
struct Check {
  std::string name;
  Result result = Result::Skipped;
  std::string text;                                     ///< the figure; why, when skipped
  std::string remedy;                                   ///< what to do about it, where it is not ok
  std::vector<std::pair<std::string, double>> figures;  ///< the same for programs
};

/// The word that stands for a result: "ok", "warn", "FAIL", "skipped".
const char* word(Result result);

/// Every check, always the same ones in the same order. Nothing is asked of a camera.
std::vector<Check> judge(const Evidence& evidence);

/// A check as a line of text.
std::string line(const Check& check);

/// The value below which a share of `values` lies, 0 to 1; 0 for none. The nearest value, not one between.
double quantile(std::vector<double> values, double share);

}  // namespace tools::selftest
