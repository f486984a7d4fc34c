#include "processing/rowBands.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <utility>
#include <vector>

#include "core/multithreading.h"
#include "core/settings.h"
#include "processing/runBands.h"

namespace {

using kernels::RowBand;

TEST(RowBands, CorrectionStagesRoundTheBandUp) {
  struct Case {
    std::uint32_t tasks, height;
    std::vector<RowBand> bands;
  };
  const Case cases[] = {
      {1, 7, {{0, 7}}},
      {3, 10, {{0, 4}, {4, 8}, {8, 10}}},
      {4, 9, {{0, 3}, {3, 6}, {6, 9}, {9, 9}}},
      {5, 3, {{0, 1}, {1, 2}, {2, 3}, {3, 3}, {3, 3}}},
      {2, 0, {{0, 0}, {0, 0}}},
      {0, 480, {{0, 480}}},
      {0, 65536, {{0, 65535}, {65535, 65536}}},
  };
  for (const Case& c : cases)
    for (std::uint32_t t = 0; t < c.bands.size(); ++t)
      EXPECT_EQ(kernels::rowBand(t, c.tasks, c.height), c.bands[t])
          << t << " of " << c.tasks << ", " << c.height;
  EXPECT_EQ(kernels::rowBand(0xFFFFFFFF, 2, 0xFFFFFFFF),
            (RowBand{0xFFFFFFFF, 0xFFFFFFFF}));  // no wrap to row 0
}

TEST(RunBands, UnitsAreLimitedAndSmallPicturesStayWhole) {
  for (const auto& [units, tasks] : {std::pair{-5, 1u}, {0, 1u}, {1, 1u}, {7, 7u}, {100'000, 1024u}})
    EXPECT_EQ(bandTaskCount(units), tasks) << units;
  settings::create(0, nullptr);
  settings::inst()->parseParam("processingUnits=3");
  EXPECT_EQ(bandTaskCountOf(499'999), 1u);
  EXPECT_EQ(bandTaskCountOf(500'000), 3u);
  settings::release();
}

TEST(RunBands, TheCallerTakesTheBandsThatNoWorkerIsFreeFor) {
  using namespace std::chrono_literals;
  WorkerPool pool(1);
  WorkerPool* const earlier = processingPool;
  processingPool = &pool;
  std::promise<void> taken, release;
  auto busy = pool.enqueue([&taken, gate = release.get_future()] {
    taken.set_value();
    gate.wait_for(5s);
    return multithreading::kTaskDone;
  });
  taken.get_future().wait();  // or this thread would take it, too
  std::atomic<int> rows{0};
  runBands(
      3, 8, [&rows](RowBand band) { rows += static_cast<int>(band.end - band.first); }, "bands");
  EXPECT_EQ(rows, 8);
  EXPECT_EQ(busy.wait_for(0s), std::future_status::timeout);
  release.set_value();
  busy.wait();
  processingPool = earlier;
}

}  // namespace
