#pragma once

#include <cstdint>

/// Calls of operator new in the whole process so far, whatever the thread. The test programs count them so
/// that a test can show that a path allocates nothing.
std::uint64_t allocationCount();
