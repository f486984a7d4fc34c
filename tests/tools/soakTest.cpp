// The judgement of storm and soak: a leak, a hang and a late call must be told from a healthy run.

#include <gtest/gtest.h>

#include <thread>

#include "tools/soak/ProcessFigures.h"
#include "tools/soak/Watchdog.h"

namespace {

using namespace std::chrono_literals;

TEST(GrowthCheck, TellsGrowthFromNoise) {
  constexpr std::uint64_t kLimit = 10000;
  struct Case {
    const char* what;
    soak::ProcessFigures (*sample)(std::uint64_t n);
    std::size_t samples;
    const char* finding;  ///< its first words; null: nothing
  };
  // The first 5 of them warm up.
  const Case cases[] = {
      {"noise",
       [](std::uint64_t n) {
         return soak::ProcessFigures{n * 7919 % 10000, n * 104729 % 10000, 4, 3 + n % 2};
       },
       60, nullptr},
      {"caches fill",
       [](std::uint64_t n) {
         return soak::ProcessFigures{n < 5 ? n * 50000 : 200000, 1, 4 + (n > 3), 3};
       },
       60, nullptr},
      {"a leak of 400 bytes each",
       [](std::uint64_t n) {
         return soak::ProcessFigures{0, n * 400 + n * 31 % 1000, 4, 3};
       },
       60, "heap grew"},
      {"pages never given back",
       [](std::uint64_t n) {
         return soak::ProcessFigures{n * 400, 0, 4, 3};
       },
       60, "resident memory grew"},
      {"one big leak",
       [](std::uint64_t n) {
         return soak::ProcessFigures{0, n < 30 ? 0u : 20000u, 4, 3};
       },
       60, "heap grew"},
      {"a thread left late",
       [](std::uint64_t n) {
         return soak::ProcessFigures{0, 0, 4 + (n > 58), 3};
       },
       60, "threads grew from 4 to 5"},
      {"a descriptor in twenty",
       [](std::uint64_t n) {
         return soak::ProcessFigures{0, 0, 4, 3 + n / 20};
       },
       60, "descriptors grew from 4 to 5"},
      {"nobody can tell",
       [](std::uint64_t n) {
         return soak::ProcessFigures{0, n * 90000, 4 + n, 3};
       },
       10, nullptr},
  };
  for (const Case& c : cases) {
    soak::GrowthCheck check({kLimit, kLimit}, 5);
    for (std::uint64_t n = 0; n < c.samples; ++n) check.add(c.sample(n));
    EXPECT_EQ(check.canTell(), c.samples > 10) << c.what;
    const auto found = check.findings();
    ASSERT_EQ(found.size(), c.finding ? 1u : 0u) << c.what << (found.empty() ? "" : ": " + found[0]);
    if (c.finding) EXPECT_EQ(found[0].rfind(c.finding, 0), 0u) << c.what << ": " << found[0];
  }
}

TEST(Watchdog, ALateCallIsAFindingAndAHungOneTheEnd) {
  testing::internal::CaptureStderr();
  soak::Findings findings([] { return "storm, seed 7, cycle 3"; });
  {
    soak::Watchdog dog(findings, 60s);
    dog.watch("getColorFrame", 1, 60s, [] {});
    EXPECT_EQ(findings.count(), 0u);
    dog.watch("getRawFrame", 2, -1s, [] {});
    EXPECT_EQ(findings.count(), 1u);
  }
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "storm, seed 7, cycle 3: getRawFrame on camera 2 took 0.00 s, 0.00 s without the machine's delays "
      "(-1.00 s allowed)\n");
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        soak::Watchdog dog(findings, 0s);
        dog.watch("getRawFrame", 2, 0s, [] { std::this_thread::sleep_for(60s); });
      },
      "cycle 3: getRawFrame on camera 2 hangs");
}

}  // namespace
