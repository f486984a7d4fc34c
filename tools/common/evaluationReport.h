#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

#include "tools/common/evaluation.h"

namespace tools {

/// A case with the figures after each stage, as `ombrix evaluate --json` prints it. model: as scenarios spell
/// it.
nlohmann::ordered_json toJson(std::string_view model, const EvaluationResult& result);

}  // namespace tools
