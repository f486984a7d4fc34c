#include "acquisition/backends/simulated/scene.h"

#include <algorithm>
#include <vector>

#include "acquisition/backends/simulated/fileScene.h"
#include "acquisition/backends/simulated/radiance.h"
#include "acquisition/backends/simulated/roomScene.h"

namespace simulation {
namespace {

/// A scene whose rows are all alike and never change.
class RowScene : public Scene {
 public:
  explicit RowScene(std::vector<float> radiance) : row(std::move(radiance)) {}
  RadianceView at(std::uint64_t) override { return {row.data(), 0}; }

 private:
  std::vector<float> row;
};

std::unique_ptr<Scene> makeRow(std::uint32_t width, double leftK, double rightK) {
  std::vector<float> row(width);
  for (std::uint32_t x = 0; x < width; ++x) {
    row[x] = static_cast<float>(radianceOf(leftK + (rightK - leftK) * x / (width - 1)));
  }
  return std::make_unique<RowScene>(std::move(row));
}

constexpr double kRampLeftK = 273.15, kRampRightK = 323.15;

}  // namespace

std::unique_ptr<Scene> makeScene(const SceneSpec& spec, const CameraModel& model) {
  const double celsius = spec.celsius + 273.15;
  switch (spec.kind) {
    case SceneKind::Uniform:
      return makeRow(model.width, celsius, celsius);
    case SceneKind::Ramp:
      return makeRow(model.width, kRampLeftK, kRampRightK);
    case SceneKind::Room:
      return std::make_unique<RoomScene>(model.width, model.height);
    case SceneKind::File:
      if (spec.pictures && !spec.pictures->empty()) return std::make_unique<FileScene>(spec, model);
      break;
    case SceneKind::Coded:
      break;
  }
  return makeRow(model.width, kReferenceK, kReferenceK);
}

std::uint16_t codedCount(std::uint32_t x, std::uint32_t y, std::uint64_t frame) {
  if (y == 0) return x < 2 ? static_cast<std::uint16_t>(frame >> (14 * x) & 0x3FFF) : std::uint16_t{0};
  return static_cast<std::uint16_t>((7ULL * x + 131ULL * y + 17ULL * frame) & 0x3FFF);
}

}  // namespace simulation
