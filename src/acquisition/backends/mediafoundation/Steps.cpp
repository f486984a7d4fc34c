#include "acquisition/backends/mediafoundation/Steps.h"

#include <mferror.h>

#include <atomic>

namespace mediafoundation {
namespace {

std::atomic<StepHook> stepHook{nullptr};

}  // namespace

void setStepHookForTesting(StepHook hook) { stepHook = hook; }

HRESULT refusal(const char* step) {
  const StepHook hook = stepHook;
  return hook ? hook(step) : S_OK;
}

std::int32_t statusOf(HRESULT result) {
  switch (static_cast<std::uint32_t>(result)) {
    case static_cast<std::uint32_t>(MF_E_VIDEO_RECORDING_DEVICE_INVALIDATED):
    case 0x800701B1:  // ERROR_NO_SUCH_DEVICE
    case 0x8007048F:  // ERROR_DEVICE_NOT_CONNECTED
    case 0x80070651:  // ERROR_DEVICE_REMOVED
    case 0x80070016:  // ERROR_BAD_COMMAND: what a driver answers whose device was pulled out
      return transport::kStatusDeviceLost;
    default:
      return static_cast<std::int32_t>(result);
  }
}

}  // namespace mediafoundation
