#pragma once

#include <fmt/core.h>

#include <string>

// Text formatting, independent of the host's locale. {fmt} stands in until the compilers we support have
// <format>; its heavy half is compiled once, in format.cpp.

std::string formatArguments(fmt::string_view pattern, fmt::format_args arguments);

template <typename... T>
std::string format(fmt::format_string<T...> pattern, T&&... arguments) {
  return formatArguments(pattern, fmt::make_format_args(arguments...));
}
