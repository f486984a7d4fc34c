// Whole frames, from the sample's bytes to the colours: the library's own pipeline in two configurations.

#include <memory>
#include <string>

#include "bench/CameraRig.h"
#include "bench/OpenedCamera.h"
#include "bench/Timings.h"

namespace bench {

namespace {

struct Stage {
  const char* name;
  float StageTimes::*milliseconds;
};

constexpr Stage kStages[] = {
    {"defects", &StageTimes::defectivePixelsMs},
    {"flat field", &StageTimes::flatFieldMs},
    {"columns", &StageTimes::columnDestripingMs},
    {"rows", &StageTimes::rowDestripingMs},
    {"thermographic", &StageTimes::thermographicMs},
    {"statistics", &StageTimes::statisticsMs},
    {"gain", &StageTimes::gainControlMs},
    {"temporal", &StageTimes::temporalFilterMs},
    {"resampling", &StageTimes::resamplingMs},
    {"spatial", &StageTimes::filteringMs},
    {"process", &StageTimes::processingMs},
};

void addStages(StageSeries& series, const processData<unsigned short>& data) {
  for (const Stage& stage : kStages)
    series.add(stage.name, static_cast<double>(data.stageTimes.*stage.milliseconds) * 1e6);
  series.add("colourise", static_cast<double>(data.colorizeTimeMs) * 1e6);
}

/// Times `work`, one frame, and notes what the library says about its stages.
template <typename Work>
void measureFrames(benchmark::State& state, const processData<unsigned short>& data, int units, Work&& work) {
  const std::size_t pixels = data.outputImage.pixelCount();
  StageSeries stages(units);
  bool processed = false;
  const auto noteStages = [&] {
    stages.begin();
    if (processed) addStages(stages, data);
    processed = true;
  };
  measure(state, pixels, units, noteStages, work);
  noteStages();
  stages.report(state, pixels);
}

/// Linear gain control, no destriping, no spatial filter: what other pipelines are compared in.
void linearFrame(benchmark::State& state, const FrameSize& size, int units) {
  const ProcessingUnits processingUnits(units);
  CameraRig rig(static_cast<std::uint16_t>(size.width), static_cast<std::uint16_t>(size.height));
  measureFrames(state, rig.data(), units, [&rig] {
    rig.unpackSample();
    rig.fetchFrame();
    rig.processFrame();
  });
}

/// A camera as an application gets it that calls no setter.
void defaultFrame(benchmark::State& state, const std::string& model, int units) {
  OpenedCamera camera(model, units);
  measureFrames(state, camera.acquisition().processing, units, [&camera] { camera.processFrame(); });
}

}  // namespace

void registerFrames() {
  constexpr const char* kModels[] = {"marlow3", "bramble6", "hollis12"};
  for (const int units : {1, 2}) {
    for (std::size_t i = 0; i < std::size(kFrameSizes); ++i) {
      const FrameSize& size = kFrameSizes[i];
      const std::string variant = std::string(size.name) + "/units:" + std::to_string(units);
      add("frame/linear/" + variant, size,
          [&size, units](benchmark::State& state) { linearFrame(state, size, units); });
      add("frame/default/" + variant, size,
          [model = kModels[i], units](benchmark::State& state) { defaultFrame(state, model, units); });
    }
  }
}

}  // namespace bench
