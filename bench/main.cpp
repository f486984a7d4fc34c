// Times a frame of each camera model with everything that an opened camera does by default, on one and on two
// processing units. Beside Google Benchmark's figures for whole frames stand the stages' medians in
// milliseconds.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string_view>

#include "core/logger.h"

namespace {

/// Standard output is the report's. The SDK starts once per measurement; that the logger runs already is no
/// news.
void showLogLine(std::string_view line) {
  if (line.find("Logger has already been initialized") != std::string_view::npos) return;
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  logger::setConsoleSink(showLogLine);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
