#pragma once

#include <fuzzer/FuzzedDataProvider.h>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>
#include <vector>

#include "core/logger.h"

// What the fuzz targets share. Numbers that a target needs beside a file are taken from the end of the input,
// so that an input begins as its file does.

namespace fuzzing {

/// Stops the run with a finding: something that has to hold does not.
inline void require(bool holds) {
  if (!holds) std::abort();
}

/// Errors alone are formatted, and nothing is printed.
inline void quietLog() {
  static const bool done = [] {
    logger::setConsoleSink([](std::string_view) {});
    logger::init(logger::verbosityErrors, "", false, false);
    return true;
  }();
  static_cast<void>(done);
}

using Provider = FuzzedDataProvider;
using Bytes = std::vector<std::uint8_t>;

/// The input without the numbers taken from its end, in a block of its own: reading past its end is seen.
inline Bytes rest(Provider& provider) {
  quietLog();
  Bytes bytes = provider.ConsumeRemainingBytes<std::uint8_t>();
  bytes.shrink_to_fit();
  return bytes;
}

inline std::string_view textOf(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace fuzzing
