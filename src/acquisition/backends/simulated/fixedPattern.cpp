#include "acquisition/backends/simulated/fixedPattern.h"

#include <algorithm>
#include <cmath>

#include "acquisition/backends/simulated/randomSource.h"

namespace simulation {
namespace {

// Spreads are standard deviations.
constexpr double kOffsetSpread = 350.0;       // counts
constexpr double kColumnOffsetSpread = 60.0;  // counts
constexpr double kGainSpread = 0.04;
constexpr double kGainDrift = -0.0015;  // per kelvin of detector temperature
constexpr double kGainDriftSpread = 2e-4;
constexpr double kLinearDriftSpread = 0.03;     // of the model's linear drift
constexpr double kQuadraticDriftSpread = 0.05;  // of its quadratic drift
constexpr double kDeadShare = 0.001, kFullScaleShare = 0.0005, kFlickeringShare = 0.0005;

}  // namespace

std::vector<float> gaussianField(std::size_t count, double spread, std::uint64_t seed) {
  RandomSource random(seed);
  std::vector<float> field(count);
  for (auto& value : field) value = static_cast<float>(spread * random.gaussian());
  return field;
}

FixedPattern makeFixedPattern(const CameraModel& model, const DetectorOptions& options) {
  const std::size_t count = std::size_t{model.width} * model.height;
  const double p = options.pattern;
  const auto seedOf = [&](std::uint64_t field) { return mixBits(options.seed, field); };
  FixedPattern fixed;
  fixed.offset = gaussianField(count, p * kOffsetSpread, seedOf(1));
  const auto columnOffset = gaussianField(model.width, p * kColumnOffsetSpread, seedOf(2));
  for (std::size_t i = 0; i < count; ++i) fixed.offset[i] += columnOffset[i % model.width];
  fixed.gain = gaussianField(count, p * kGainSpread, seedOf(3));
  for (auto& value : fixed.gain) value = (1.0f + value) * model.responsivity;
  fixed.gainDrift = gaussianField(count, p * kGainDriftSpread, seedOf(4));
  for (auto& value : fixed.gainDrift) value += static_cast<float>(kGainDrift);
  fixed.linearDrift = gaussianField(count, p * kLinearDriftSpread * model.linearDrift, seedOf(5));
  fixed.quadraticDrift = gaussianField(count, p * kQuadraticDriftSpread * model.quadraticDrift, seedOf(6));
  return fixed;
}

std::vector<Defect> scatterDefects(const CameraModel& model, std::uint64_t seed) {
  const std::uint32_t count = model.width * model.height;
  RandomSource random(mixBits(seed, 9));
  std::vector<bool> taken(count, false);
  std::vector<Defect> defects;
  const auto scatter = [&](double share, DefectKind kind) {
    for (auto left = std::llround(share * count); left > 0;) {
      const auto pixel = static_cast<std::uint32_t>(random.below(count));
      if (taken[pixel]) continue;
      taken[pixel] = true;
      defects.push_back({pixel, kind});
      --left;
    }
  };
  scatter(kDeadShare, DefectKind::Dead);
  scatter(kFullScaleShare, DefectKind::FullScale);
  scatter(kFlickeringShare, DefectKind::Flickering);
  std::sort(defects.begin(), defects.end(), [](const auto& a, const auto& b) { return a.pixel < b.pixel; });
  return defects;
}

}  // namespace simulation
