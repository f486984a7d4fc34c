#pragma once

#include <cstdint>

#include "common/sanitized.h"

/// Calls of operator new in the whole process so far, whatever the thread: with it a test shows that a path
/// allocates nothing. Sanitizers allocate for their own ends, so those builds have neither the counter nor
/// the tests that use it.
#if !OMBRIX_SANITIZED
std::uint64_t allocationCount();
#endif

#if OMBRIX_OWN_NEW
/// The `number`-th allocation of the calling thread from now on fails, once; 0: none does.
void failAllocation(std::uint64_t number);
/// Whether it has failed already.
bool allocationFailed();
#endif
