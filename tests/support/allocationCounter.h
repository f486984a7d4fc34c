#pragma once

#include <cstdint>

#include "common/sanitized.h"

/// Calls of operator new in the whole process so far, whatever the thread: with it a test shows that a path
/// allocates nothing. Sanitizers bring an operator new of their own, so those builds have neither the counter
/// nor the tests that use it.
#if !OMBRIX_SANITIZED
std::uint64_t allocationCount();
#endif
