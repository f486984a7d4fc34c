#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <numeric>
#include <string>

#include "fuzzing.h"

namespace fuzzing {

/// True for one input in `count`, by its bytes: an input does the same each time, its changes may not.
inline bool isOneIn(unsigned count, const Bytes& bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), 0u) % count == 0;
}

/// A file in memory, for what takes the names of files. One of them, whose number is its name within
/// `folder`.
class MemoryFile {
 public:
  static constexpr const char* folder = "/proc/self/fd";
  static constexpr int number = 99;

  /// Names a file with these bytes.
  static const std::string& of(std::span<const std::uint8_t> bytes) {
    static const bool made = dup2(memfd_create("input", 0), number) == number;
    require(made && ftruncate(number, 0) == 0);
    require(pwrite(number, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    static const std::string path = std::string(folder) + "/" + std::to_string(number);
    return path;
  }
};

}  // namespace fuzzing
