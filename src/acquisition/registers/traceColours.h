#pragma once

// Terminal colours of register traces and of the parameter block.
namespace registers {

inline constexpr const char* kTraceColour = "\033[0;38;5;98m";
inline constexpr const char* kDarkGrey = "\033[0;38;5;242m";
inline constexpr const char* kLightGrey = "\033[0;38;5;248m";
inline constexpr const char* kRed = "\033[0;49;31m";

}  // namespace registers
