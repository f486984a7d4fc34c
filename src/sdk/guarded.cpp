#include "sdk/guarded.h"

#include <string_view>

#include "common/format.h"

void sdk::reportFailure(const std::exception& failure, const LogContext& caller) noexcept {
  try {
    logger::error(format("Call failed: {:s}", std::string_view(failure.what())), caller);
  } catch (const std::exception&) {
    // Then it goes unsaid.
  }
}
