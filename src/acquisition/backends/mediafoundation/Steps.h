#pragma once

#include <windows.h>

#include "acquisition/transport/videoPlatform.h"

namespace mediafoundation {

/// A step of Media Foundation that a test refuses answers this instead of being taken; 0 = it is taken.
using StepHook = HRESULT (*)(const char* step);
void setStepHookForTesting(StepHook hook);
HRESULT refusal(const char* step);

/// An HRESULT as the transport's status: those that mean that the camera is gone become one.
std::int32_t statusOf(HRESULT result);

/// Steps taken one after the other, up to the first that fails.
class Steps {
 public:
  /// Makes the call, which returns an HRESULT, unless an earlier step failed. True when all went well so far.
  template <typename Call>
  bool take(const char* name, Call&& call) {
    if (outcome.failed()) return false;
    HRESULT result = refusal(name);
    if (SUCCEEDED(result)) result = call();
    outcome = {statusOf(result), name};
    return !outcome.failed();
  }
  /// The failed step, or the last one.
  const transport::StepResult& result() const { return outcome; }

 private:
  transport::StepResult outcome;
};

}  // namespace mediafoundation
