#include "presentation/colorStripes.h"

#include <algorithm>
#include <array>
#include <future>

#include "core/multithreading.h"
#include "presentation/kernels/colorizeRows.h"

namespace {

constexpr unsigned kMostStripes = 1024;

/// What all stripe tasks of a frame share; a task carries a pointer to it and its own number, small enough to
/// travel without an allocation of its own.
struct StripeJob {
  ImageView<const std::uint16_t> levels;
  ImageView<rgb_24b> colors;
  const ColorTable& table;
  std::uint32_t rows;  ///< of one stripe
};

}  // namespace

unsigned colorStripeCount(std::int32_t processingUnits) {
  return static_cast<unsigned>(std::clamp<std::int32_t>(processingUnits, 1, kMostStripes));
}

void paintStripes(ImageView<const std::uint16_t> levels, ImageView<rgb_24b> colors, const ColorTable& table,
                  unsigned stripes) {
  const StripeJob job{levels, colors, table, levels.height / stripes};
  std::array<std::future<int>, kMostStripes> tasks;
  for (unsigned s = 0; s < stripes; s++) {
    const auto paint = [&job, s] {
      kernels::colorizeRows(job.levels, job.colors, job.table, s * job.rows, (s + 1) * job.rows);
      return multithreading::kTaskDone;
    };
    tasks[s] = multithreading::startWorkerThread(processingPool, paint, "colorize");
  }
  for (unsigned s = 0; s < stripes; s++) multithreading::waitThread(tasks[s]);
}
