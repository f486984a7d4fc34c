#include "tools/demo/stageSheet.h"

#include <stdexcept>

#include "acquisition/backends/simulated/scenario.h"
#include "common/format.h"
#include "tools/common/pipelineBench.h"
#include "tools/common/privateData.h"

namespace tools {
namespace {

constexpr int kShownFrame = 48;  // when the temporal filter and the smoothed statistics have come to rest
constexpr std::uint32_t kStripWidth = 320, kStripHeight = 120;

struct Strip {
  std::vector<std::uint16_t> levels;
  std::pair<std::uint16_t, std::uint16_t> bounds;
};

/// The middle of a picture.
Strip cut(const image<unsigned short>& picture) {
  Strip strip;
  std::vector<std::uint32_t> counts(65536, 0);
  const std::uint32_t left = (picture.width - kStripWidth) / 2;
  const std::uint32_t top = (picture.height - kStripHeight) / 2;
  for (std::uint32_t y = top; y < top + kStripHeight; ++y) {
    for (std::uint32_t x = left; x < left + kStripWidth; ++x) {
      const std::uint16_t level = picture.data[std::size_t{y} * picture.width + x];
      strip.levels.push_back(level);
      ++counts[level];
    }
  }
  strip.bounds = levelBounds(counts, 0.01, 0.99);
  return strip;
}

Picture grey(const Strip& strip, std::pair<std::uint16_t, std::uint16_t> bounds) {
  return stretchLinear(strip.levels, kStripWidth, kStripHeight, bounds.first, bounds.second);
}

}  // namespace

std::vector<StagePair> showStages(const std::string& scenario, const std::string& data) {
  simulation::Scenario cameras;
  simulation::ScenarioError error;
  if (!simulation::readScenario(scenario, cameras, error)) throw std::runtime_error(error.reason);
  const simulation::CameraSpec& spec = cameras.cameras.front();
  const PrivateData copy(data);
  PipelineBench bench(spec, copy.path());
  bench.runShutter(FlatFieldReference::Shutter);
  bench.camera.setScene(spec.scene);
  bench.settle();

  bench.acquisition.processing.output.temporalStateValid = false;  // it holds temperatures
  std::vector<Strip> strips;
  for (int i = 0; i <= kShownFrame; ++i) {
    bench.present([&](std::size_t, const image<unsigned short>& picture) {
      if (i == kShownFrame) strips.push_back(cut(picture));
    });
  }
  constexpr std::size_t kGainControl = kCorrectionCount;
  std::vector<StagePair> pairs;
  for (std::size_t i = 1; i < strips.size(); ++i) {
    constexpr const char* kOutput[] = {"gain control", "temporal filter", "spatial filter"};
    const bool newScale = i == kFirstRadiometric || i == kGainControl;
    const char* const stage = i < kCorrectionCount ? kCorrections[i] : kOutput[i - kCorrectionCount];
    pairs.push_back({stage, grey(strips[i - 1], newScale ? strips[i - 1].bounds : strips[i].bounds),
                     grey(strips[i], strips[i].bounds)});
  }
  return pairs;
}

}  // namespace tools
