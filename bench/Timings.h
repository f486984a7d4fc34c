#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// Sizes that everything is measured at: those of the three camera models.
struct FrameSize {
  const char* name;
  int width, height;
  int iterations;  ///< that give a steady median
};
inline constexpr FrameSize kFrameSizes[] = {
    {"320x240", 320, 240, 400}, {"640x480", 640, 480, 150}, {"1280x1024", 1280, 1024, 40}};

/// One frame per benchmark instead of enough to measure: shows that everything runs.
inline bool dryRun = false;
inline int iterationsOf(const FrameSize& size) { return dryRun ? 1 : size.iterations; }

/// Seconds of this thread's processor time: on a busy machine it tells more than a clock on the wall. What
/// several threads share can only be told by the latter.
class Stopwatch {
 public:
  explicit Stopwatch(int threads) : clock(threads == 1 ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC) {}
  void restart() { start = now(); }
  double elapsed() const { return now() - start; }

 private:
  double now() const {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  }
  clockid_t clock;
  double start = now();
};

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Nanoseconds of each stage, frame by frame.
class StageSeries {
 public:
  explicit StageSeries(int threads) : watch(threads) {}
  /// Starts the clock of a frame.
  void begin() {
    stage = 0;
    watch.restart();
  }
  /// Ends a stage; a frame's stages always come in the same order.
  void mark(const char* name) {
    add(name, watch.elapsed() * 1e9);
    watch.restart();
  }
  void add(const char* name, double nanoseconds) {
    if (stage == series.size()) series.emplace_back(name, std::vector<double>());
    series[stage++].second.push_back(nanoseconds);
  }
  void forget() { series.clear(); }
  /// Shows each stage's median as the counter "stage: NAME", in nanoseconds per pixel.
  void report(benchmark::State& state, std::size_t pixels) const {
    for (const auto& [name, values] : series)
      state.counters["stage: " + name] = median(values) / static_cast<double>(pixels);
  }

 private:
  std::vector<std::pair<std::string, std::vector<double>>> series;
  std::size_t stage = 0;
  Stopwatch watch;
};

/// Times `work` alone, each time after an untimed `prepare`. threads: that it runs on. The median goes into
/// the counters "ns_per_pixel" and "fps".
template <typename Prepare, typename Work>
void measure(benchmark::State& state, std::size_t pixels, int threads, Prepare&& prepare, Work&& work) {
  Stopwatch watch(threads);
  std::vector<double> seconds;
  for (auto _ : state) {
    prepare();
    watch.restart();
    work();
    seconds.push_back(watch.elapsed());
    state.SetIterationTime(seconds.back());
  }
  const double typical = median(seconds);
  state.counters["ns_per_pixel"] = typical * 1e9 / static_cast<double>(pixels);
  state.counters["fps"] = 1.0 / typical;
}

/// Registers a benchmark that runs once per repetition, for the iterations that its size asks for.
template <typename Function>
void add(const std::string& name, const FrameSize& size, Function&& function) {
  benchmark::RegisterBenchmark(name.c_str(), std::forward<Function>(function))
      ->Iterations(iterationsOf(size))
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
}

void registerKernels();
void registerFrames();
void registerOpenCv();

}  // namespace bench
