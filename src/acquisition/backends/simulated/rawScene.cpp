#include "acquisition/backends/simulated/rawScene.h"

#include <algorithm>

namespace simulation {
namespace {

constexpr std::size_t kMostFrames = 64;  // later ones are not played

std::vector<std::uint16_t> spread(const GreyPicture& picture, const SceneSpec& spec,
                                  const CameraModel& model) {
  std::vector<std::uint16_t> counts;
  counts.reserve(std::size_t{model.width} * model.height);
  for (std::uint32_t y = 0; y < model.height; ++y) {
    const auto* row = &picture.values[std::size_t{rawPlace(y, model.height, picture.height)} * picture.width];
    for (std::uint32_t x = 0; x < model.width; ++x) {
      const double value = row[rawPlace(x, model.width, picture.width)] * spec.scale + spec.offset;
      const double limited = std::clamp(value + 0.5, 0.0, static_cast<double>(kFullScale));
      counts.push_back(static_cast<std::uint16_t>(limited));
    }
  }
  return counts;
}

}  // namespace

std::uint32_t rawPlace(std::uint32_t place, std::uint32_t sensor, std::uint32_t picture) {
  const std::int64_t period = 2 * std::int64_t{picture};
  const std::int64_t left = (std::int64_t{sensor} - picture) / 2;  // of the picture on the sensor
  const std::int64_t phase = ((place - left) % period + period) % period;
  return static_cast<std::uint32_t>(phase < picture ? phase : period - 1 - phase);
}

RawScene::RawScene(const SceneSpec& spec, const CameraModel& model)
    : holdFrames(std::max(1u, spec.holdFrames)) {
  for (const auto& picture : *spec.pictures) {
    if (frames.size() == kMostFrames) break;
    frames.push_back(spread(picture, spec, model));
  }
  if (spec.shutter && !spec.shutter->empty()) {
    shutter = spread(spec.shutter->front(), spec, model);
  } else {
    shutter.assign(frames.front().size(), static_cast<std::uint16_t>(model.baseCounts));
  }
}

std::span<const std::uint16_t> RawScene::at(std::uint64_t frame, bool shutterClosed) const {
  if (shutterClosed) return shutter;
  return frames[frame / holdFrames % frames.size()];
}

std::vector<Defect> rawDefects(const SceneSpec& spec, const CameraModel& model) {
  const bool hasShutter = spec.shutter && !spec.shutter->empty();
  const auto counts = spread(hasShutter ? spec.shutter->front() : spec.pictures->front(), spec, model);
  std::vector<Defect> defects;
  for (std::uint32_t i = 0; i < counts.size(); ++i) {
    if (counts[i] == 0) defects.push_back({i, DefectKind::Dead});
    if (counts[i] == kFullScale) defects.push_back({i, DefectKind::FullScale});
  }
  return defects;
}

}  // namespace simulation
