#pragma once

#include <cstdint>

// The thread sanitizer brings an operator new of its own, which cannot be replaced.
#if defined(__SANITIZE_THREAD__)
#define OMBRIX_COUNTS_ALLOCATIONS 0
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define OMBRIX_COUNTS_ALLOCATIONS 0
#endif
#endif
#if !defined(OMBRIX_COUNTS_ALLOCATIONS)
#define OMBRIX_COUNTS_ALLOCATIONS 1
#endif

/// False where allocationCount() stays 0; tests that need it skip themselves.
constexpr bool kCountsAllocations = OMBRIX_COUNTS_ALLOCATIONS;

/// Calls of operator new in the whole process so far, whatever the thread. The test programs count them so
/// that a test can show that a path allocates nothing.
std::uint64_t allocationCount();
