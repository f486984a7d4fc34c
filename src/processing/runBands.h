#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <type_traits>

#include "processing/rowBands.h"

/// How many tasks a stage splits its rows into: the setting `processingUnits`, limited to 1..1024.
std::uint32_t bandTaskCount(std::int32_t processingUnits);
/// ... with the setting as it stands now.
std::uint32_t bandTaskCount();
/// How many tasks an image of so many pixels is worth: one, up to half a million of them. Waking a worker
/// costs about as much as a stage takes for that many, and costs it on two processors.
std::uint32_t bandTaskCountOf(std::size_t pixels);

namespace detail {
using BandFunction = void (*)(void* task, kernels::RowBand band);
void runBands(std::uint32_t tasks, std::uint32_t height, BandFunction run, void* task, std::string_view name);
}  // namespace detail

/// Runs `task(RowBand)` for `tasks` bands of an image of `height` rows on `processingPool` (inline without a
/// pool and for a single band; 0 counts as one) and returns when all are done. Bands without rows start
/// nothing. The bands run at the same time, so the task writes its own rows only. Not from a pool task: a
/// band waits for nothing. Allocates nothing in a steady state.
template <typename Task>
void runBands(std::uint32_t tasks, std::uint32_t height, Task&& task, std::string_view name) {
  using Callable = std::remove_reference_t<Task>;
  const auto run = [](void* callable, kernels::RowBand band) { (*static_cast<Callable*>(callable))(band); };
  // The callable may be const; it is only ever cast back to what it was.
  detail::runBands(tasks, height, run, const_cast<void*>(static_cast<const void*>(std::addressof(task))),
                   name);
}
