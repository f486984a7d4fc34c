#pragma once

#include <exception>

#include "core/logger.h"

namespace sdk {

/// One error line about what ended a call; none when there is no memory even for that.
void reportFailure(const std::exception& failure, const LogContext& caller) noexcept;

/// Runs the body of an exported call, which may throw nothing: where memory runs out in it, one error line
/// and a neutral value (false, 0, an empty text). The body is given `caller` for its own lines.
template <typename Body>
auto guarded(const LogContext& caller, const Body& body) -> decltype(body(caller)) {
  try {
    return body(caller);
  } catch (const std::exception& failure) {
    reportFailure(failure, caller);
  }
  return decltype(body(caller))();
}

}  // namespace sdk
