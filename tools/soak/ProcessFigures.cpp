#include "tools/soak/ProcessFigures.h"

#include <algorithm>

#include "common/format.h"
#include "common/sanitized.h"
#include "platform/system.h"

#if OMBRIX_SANITIZED
#include <sanitizer/allocator_interface.h>
#elif defined(__GLIBC__)
#include <malloc.h>
#endif

namespace soak {
namespace {

constexpr double kMegabyte = 1048576.0;

std::uint64_t heapBytes() {
#if OMBRIX_SANITIZED
  return __sanitizer_get_current_allocated_bytes();
#elif defined(__GLIBC__)
  const struct mallinfo2 arenas = mallinfo2();
  return arenas.uordblks + arenas.hblkhd;
#else
  return 0;
#endif
}

/// Median of one figure over samples [first, last).
std::uint64_t median(const std::vector<ProcessFigures>& samples, std::size_t first, std::size_t last,
                     std::uint64_t ProcessFigures::*figure) {
  std::vector<std::uint64_t> values;
  for (std::size_t i = first; i < last; ++i) values.push_back(samples[i].*figure);
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::uint64_t largest(const std::vector<ProcessFigures>& samples, std::size_t first, std::size_t last,
                      std::uint64_t ProcessFigures::*figure) {
  std::uint64_t value = 0;
  for (std::size_t i = first; i < last; ++i) value = std::max(value, samples[i].*figure);
  return value;
}

}  // namespace

ProcessFigures readProcessFigures() {
  const platform::ProcessUse use = platform::processUse();
  ProcessFigures figures;
  figures.residentBytes = use.residentBytes;
  figures.heapBytes = heapBytes();
  figures.threads = use.threads;
  figures.descriptors = use.openFiles;
  return figures;
}

void giveFreedMemoryBack() {
#if !OMBRIX_SANITIZED && defined(__GLIBC__)
  malloc_trim(0);
#endif
}

std::string describe(const ProcessFigures& figures) {
  return format("{:.1f} MB resident, {:.2f} MB heap, {:d} descriptors, {:d} threads",
                static_cast<double>(figures.residentBytes) / kMegabyte,
                static_cast<double>(figures.heapBytes) / kMegabyte, figures.descriptors, figures.threads);
}

std::vector<std::string> GrowthCheck::findings() const {
  std::vector<std::string> found;
  if (!canTell()) return found;
  const std::size_t third = (taken.size() - warmUp) / 3;
  const std::size_t lastThird = taken.size() - third;
  const auto judgeMemory = [&](const char* name, std::uint64_t limit, std::uint64_t ProcessFigures::*figure) {
    const std::uint64_t before = median(taken, warmUp, warmUp + third, figure);
    const std::uint64_t after = median(taken, lastThird, taken.size(), figure);
    if (limit == 0 || after <= before + limit) return;
    found.push_back(format("{:s} grew from {:.2f} MB to {:.2f} MB ({:.2f} MB allowed)", name,
                           static_cast<double>(before) / kMegabyte, static_cast<double>(after) / kMegabyte,
                           static_cast<double>(limit) / kMegabyte));
  };
  const auto judgeCount = [&](const char* name, std::uint64_t ProcessFigures::*figure) {
    const std::uint64_t before = largest(taken, warmUp, warmUp + third, figure);
    const std::uint64_t after = taken.back().*figure;
    if (after > before) found.push_back(format("{:s} grew from {:d} to {:d}", name, before, after));
  };
  judgeMemory("resident memory", limits.residentBytes, &ProcessFigures::residentBytes);
  judgeMemory("heap", limits.heapBytes, &ProcessFigures::heapBytes);
  judgeCount("threads", &ProcessFigures::threads);
  judgeCount("descriptors", &ProcessFigures::descriptors);
  return found;
}

}  // namespace soak
