#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/OpenedCamera.h"

namespace {

struct Stage {
  const char* name;
  float StageTimes::*milliseconds;
};

constexpr Stage kStages[] = {
    {"ms_defects", &StageTimes::defectivePixelsMs},
    {"ms_flatfield", &StageTimes::flatFieldMs},
    {"ms_columns", &StageTimes::columnDestripingMs},
    {"ms_rows", &StageTimes::rowDestripingMs},
    {"ms_thermographic", &StageTimes::thermographicMs},
    {"ms_statistics", &StageTimes::statisticsMs},
    {"ms_gain", &StageTimes::gainControlMs},
    {"ms_temporal", &StageTimes::temporalFilterMs},
    {"ms_resampling", &StageTimes::resamplingMs},
    {"ms_spatial", &StageTimes::filteringMs},
    {"ms_process", &StageTimes::processingMs},
};

double median(std::vector<float>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return static_cast<double>(*middle);
}

/// The medians of the stages go with the benchmark as counters.
class StageMedians {
 public:
  void add(const processData<unsigned short>& data) {
    for (std::size_t i = 0; i < std::size(kStages); ++i)
      stages[i].push_back(data.stageTimes.*kStages[i].milliseconds);
    colours.push_back(data.colorizeTimeMs);
  }
  void report(benchmark::State& state) {
    for (std::size_t i = 0; i < std::size(kStages); ++i) state.counters[kStages[i].name] = median(stages[i]);
    state.counters["ms_colorize"] = median(colours);
  }

 private:
  std::vector<float> stages[std::size(kStages)];
  std::vector<float> colours;
};

void wholeFrame(benchmark::State& state, const std::string& model) {
  OpenedCamera camera(model, static_cast<int>(state.range(0)));
  StageMedians medians;
  {
    FairLock lock(frameMutex);
    for (auto _ : state) {
      camera.processFrame();
      medians.add(camera.acquisition().processing);
    }
  }
  medians.report(state);
  const auto pixels = static_cast<double>(camera.acquisition().processing.outputImage.pixelCount());
  state.counters["ns_per_pixel"] = benchmark::Counter(
      pixels * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// A fixed number of frames: a camera is opened and settled once for each measurement.
void configure(benchmark::internal::Benchmark* measurement) {
  measurement->ArgName("units")->Arg(1)->Arg(2)->Iterations(300);
  measurement->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(wholeFrame, marlow3, "marlow3")->Apply(configure);
BENCHMARK_CAPTURE(wholeFrame, bramble6, "bramble6")->Apply(configure);
BENCHMARK_CAPTURE(wholeFrame, hollis12, "hollis12")->Apply(configure);

}  // namespace
