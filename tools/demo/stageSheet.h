#pragma once

#include <string>
#include <vector>

#include "tools/common/contactSheet.h"

namespace tools {

/// A part of the picture before and after a stage.
struct StagePair {
  std::string stage;
  Picture before;
  Picture after;
};

/// Plays a scenario's camera through the pipeline, with a shutter run first, and cuts the same strip out of
/// the picture before and after each stage. Both show the same range of levels, the usual one of the later
/// picture; around the flat field and gain control, which change what a level means, each shows its own.
/// data: directory of calibration files. Needs an `OmbrixSDK` object. Throws std::runtime_error.
std::vector<StagePair> showStages(const std::string& scenario, const std::string& data);

}  // namespace tools
