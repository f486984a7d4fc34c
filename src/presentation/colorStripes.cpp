#include "presentation/colorStripes.h"

#include <algorithm>
#include <array>
#include <future>

#include "core/multithreading.h"
#include "presentation/kernels/colorizeRows.h"
#include "processing/rowBands.h"
#include "processing/runBands.h"

namespace {

constexpr unsigned kMostStripes = 1024;

/// What all stripe tasks of a frame share; a task carries a pointer to it and its own number, small enough to
/// travel without an allocation of its own.
struct StripeJob {
  ImageView<const std::uint16_t> levels;
  ImageView<rgb_24b> colors;
  const ColorTable& table;
  std::uint32_t stripes;
};

/// The tasks of one frame. Waits for those that were started whatever happens: they borrow from the caller.
struct StartedStripes {
  StartedStripes() = default;
  StartedStripes(const StartedStripes&) = delete;
  StartedStripes& operator=(const StartedStripes&) = delete;
  ~StartedStripes() {
    for (auto& task : tasks) {
      if (task.valid()) multithreading::waitThread(task);
    }
  }
  std::array<std::future<int>, kMostStripes> tasks;
};

}  // namespace

unsigned colorStripeCount(std::int32_t processingUnits, std::uint32_t height) {
  const auto wanted = static_cast<std::uint32_t>(std::clamp<std::int32_t>(processingUnits, 1, kMostStripes));
  return std::clamp(wanted, 1u, std::max(height, 1u));
}

void paintStripes(ImageView<const std::uint16_t> levels, ImageView<rgb_24b> colors, const ColorTable& table,
                  unsigned stripes) {
  if (bandTaskCountOf(levels.pixelCount()) == 1) {
    const auto painted = kernels::stripeBand(stripes - 1, stripes, levels.height);
    return kernels::colorizeRows(levels, colors, table, 0, painted.end);
  }
  const StripeJob job{levels, colors, table, stripes};
  StartedStripes started;
  for (unsigned s = 0; s < stripes; s++) {
    const auto paint = [&job, s] {
      const auto rows = kernels::stripeBand(s, job.stripes, job.levels.height);
      kernels::colorizeRows(job.levels, job.colors, job.table, rows.first, rows.end);
      return multithreading::kTaskDone;
    };
    started.tasks[s] = multithreading::startWorkerThread(processingPool, paint, "colorize");
  }
  // This thread would only wait: it takes what no worker has taken yet.
  if (WorkerPool* const pool = processingPool) pool->runPending();
}
