#pragma once

#include <cstdint>

// The last lines that the library logged, kept for the moment when something goes wrong.
namespace soak::logTail {

/// Takes the logger's console over for the rest of the process.
void install();
/// Writes the lines to standard error. Any thread.
void print();
/// How often clean-up left a camera behind because a call on it did not end.
std::uint64_t abandonedCameras();

}  // namespace soak::logTail
