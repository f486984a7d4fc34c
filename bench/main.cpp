// Times the library's pipeline and its kernels beside a plain copy, on simulated and synthetic cameras, and
// the same frame made with OpenCV where that was found.
//
//   ombrix-bench [--dry-run] [options of Google Benchmark]     --dry-run: everything once, to see that it
//   runs

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "bench/Timings.h"
#include "tools/common/session.h"

namespace {

bool takeDryRun(int& argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]) != "--dry-run") continue;
    for (int k = i; k + 1 < argc; ++k) argv[k] = argv[k + 1];
    --argc;
    return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  bench::dryRun = takeDryRun(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  // Standard output is the report's. Logger and settings start once per measurement; that they are there
  // already is no news.
  tools::logToStandardError();
  tools::leaveOutOfLog("already");
  bench::registerFrames();
  bench::registerKernels();
#ifdef OMBRIX_BENCH_OPENCV
  bench::registerOpenCv();
#endif
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
