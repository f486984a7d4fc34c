#include "core/threadStart.h"

#include <atomic>

namespace threadStart {
namespace {

std::atomic<Hook> testHook{nullptr};

}  // namespace

void setHookForTesting(Hook hook) { testHook = hook; }

void detail::announce(const char* purpose) {
  if (const Hook hook = testHook) hook(purpose);
}

}  // namespace threadStart
