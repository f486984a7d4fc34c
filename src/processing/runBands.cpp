#include "processing/runBands.h"

#include <algorithm>
#include <future>
#include <vector>

#include "core/multithreading.h"
#include "core/settings.h"

std::uint32_t bandTaskCount(std::int32_t processingUnits) {
  constexpr std::int32_t kMostTasks = 1024;
  return static_cast<std::uint32_t>(std::clamp(processingUnits, 1, kMostTasks));
}

std::uint32_t bandTaskCount() { return bandTaskCount(settings::current().processingUnits); }

std::uint32_t bandTaskCountOf(std::size_t pixels) {
  constexpr std::size_t kWorthSplitting = 500'000;
  return pixels < kWorthSplitting ? 1 : bandTaskCount();
}

namespace {

/// The futures of one call. Waits for what was started whatever happens: the bands borrow from the caller.
class StartedBands {
 public:
  StartedBands() = default;
  StartedBands(const StartedBands&) = delete;
  StartedBands& operator=(const StartedBands&) = delete;
  ~StartedBands() {
    for (auto& band : bands()) multithreading::waitThread(band);
    bands().clear();
  }
  void add(std::future<int> band) { bands().push_back(std::move(band)); }

 private:
  // One per calling thread, so that its capacity lasts from frame to frame.
  static std::vector<std::future<int>>& bands() {
    thread_local std::vector<std::future<int>> list;
    return list;
  }
};

}  // namespace

void detail::runBands(std::uint32_t tasks, std::uint32_t height, BandFunction run, void* task,
                      std::string_view name) {
  if (tasks <= 1) return run(task, kernels::rowBand(0, tasks, height));
  StartedBands started;
  for (std::uint32_t t = 0; t < tasks; ++t) {
    const kernels::RowBand band = kernels::rowBand(t, tasks, height);
    if (band.empty()) break;  // so are all that follow
    const auto work = [run, task, band] {
      run(task, band);
      return multithreading::kTaskDone;
    };
    started.add(multithreading::startProcessingThread(work, name));
  }
  // This thread would only wait: it takes what no worker has taken yet.
  if (WorkerPool* const pool = processingPool) pool->runPending();
}
