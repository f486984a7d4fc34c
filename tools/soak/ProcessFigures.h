#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace soak {

/// What this process holds at a moment.
struct ProcessFigures {
  std::uint64_t residentBytes = 0;
  std::uint64_t heapBytes = 0;  ///< allocated and not freed, as the allocator counts; 0 where it does not
  std::uint64_t threads = 0;
  std::uint64_t descriptors = 0;
};

/// Reads them from the system and from the allocator. Zeros where these do not tell.
ProcessFigures readProcessFigures();

/// Makes the allocator return what is free to the system, where it can be asked to: otherwise the resident
/// memory tells what the arenas of threads long gone keep for later.
void giveFreedMemoryBack();

/// For a line of output: "212.4 MB resident, 3.1 MB heap, 9 descriptors, 7 threads".
std::string describe(const ProcessFigures& figures);

/// Tells growth from noise in figures that were all taken in the same state, such as after every destruction.
/// The first `warmUp` do not count: caches fill, threads are made. Threads and descriptors must not end above
/// what they reached in the first third of the rest; memory is compared by the medians of its first and last
/// third, since a single figure depends on what the allocator happens to keep.
class GrowthCheck {
 public:
  struct Limits {
    std::uint64_t residentBytes = 0;  ///< 0: not judged
    std::uint64_t heapBytes = 0;
  };
  GrowthCheck(const Limits& allowed, std::size_t warmUpCount) : limits(allowed), warmUp(warmUpCount) {}

  void add(const ProcessFigures& figures) { taken.push_back(figures); }
  const std::vector<ProcessFigures>& samples() const { return taken; }
  /// True once there are enough figures.
  bool canTell() const { return taken.size() >= warmUp + 6; }
  /// One text for each figure that grew; none while nobody can tell.
  std::vector<std::string> findings() const;

 private:
  Limits limits;
  std::size_t warmUp;
  std::vector<ProcessFigures> taken;
};

}  // namespace soak
