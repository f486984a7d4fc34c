#include "acquisition/backends/simulated/detector.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "acquisition/backends/simulated/radiance.h"
#include "acquisition/backends/simulated/randomSource.h"

namespace simulation {
namespace {

constexpr float kHousingShare = 0.15f;      // of the corner's radiance comes from the housing
constexpr double kWalkSpread = 0.02;        // counts per square root of a second
constexpr double kColumnDriftSpread = 3.0;  // counts after power-on
constexpr double kColumnDriftGrowth = 1.0;  // counts per minute
constexpr float kRowNoise = 0.8f;           // counts

constexpr std::uint64_t kNoiseIndexRange = 65536;  // rows start anywhere in this part of the table
// The per-pixel terms move by hundredths of a count in the quarter of a second that this takes; the terms
// that all pixels share are exact in every frame.
constexpr std::uint32_t kRefreshInterval = 16;
constexpr double kJumpK = 0.05, kJumpSeconds = 2.0;  // beyond which everything is refreshed at once

/// Limits to 0..16383, NaN to 0; adding 0.5 before makes it rounding.
inline std::uint32_t toCount(float value) {
  value = value > 0.0f ? value : 0.0f;
  value = value < 16383.0f ? value : 16383.0f;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
}

/// A table of exactly mean 0 and spread 1, whatever its length.
std::vector<float> noiseTable(std::size_t count, std::uint64_t seed) {
  auto table = gaussianField(count, 1.0, seed);
  double sum = 0.0, squares = 0.0;
  for (const float value : table) sum += value;
  const double mean = sum / static_cast<double>(count);
  for (const float value : table) squares += (value - mean) * (value - mean);
  const double scale = 1.0 / std::sqrt(squares / static_cast<double>(count));
  for (auto& value : table) value = static_cast<float>((value - mean) * scale);
  return table;
}

}  // namespace

Detector::Detector(const CameraModel& cameraModel, const DetectorOptions& detectorOptions)
    : model(cameraModel), options(detectorOptions), fixed(makeFixedPattern(model, options)) {
  allocate();
  if (options.defects) defectList = scatterDefects(model, options.seed);
  indexDefects();
}

void Detector::allocate() {
  const std::size_t count = std::size_t{model.width} * model.height;
  const auto seedOf = [&](std::uint64_t field) { return mixBits(options.seed, field); };
  drift.assign(count, 0.0f);
  driftSeconds.assign(model.height, 0.0);
  level.assign(count, 0.0f);
  response.assign(count, 0.0f);
  columnPattern = gaussianField(model.width, 1.0, seedOf(7));
  column.assign(model.width, 0.0f);
  noise = noiseTable(kNoiseIndexRange + model.width, seedOf(8));
}

void Detector::indexDefects() {
  firstDefectOfRow.assign(model.height + 1, 0);
  for (const auto& defect : defectList) ++firstDefectOfRow[defect.pixel / model.width + 1];
  for (std::uint32_t y = 0; y < model.height; ++y) firstDefectOfRow[y + 1] += firstDefectOfRow[y];
}

void Detector::advance(const DetectorConditions& conditions) {
  const bool skipped = conditions.seconds - now.seconds > kJumpSeconds;
  now = conditions;
  const double d = now.detectorCelsius + 273.15 - kReferenceK;
  commonLevel = static_cast<float>(model.baseCounts + model.linearDrift * d + model.quadraticDrift * d * d);
  const double columnSpread = kColumnDriftSpread + kColumnDriftGrowth * now.seconds / 60.0;
  for (std::size_t x = 0; x < column.size(); ++x)
    column[x] = static_cast<float>(columnSpread) * columnPattern[x];

  const bool jumped = std::abs(d - freshD) > kJumpK || std::abs(now.housingExcessK - freshHousing) > kJumpK;
  const std::uint32_t step = !fresh || jumped || skipped ? 1 : kRefreshInterval;
  const auto first = step == 1 ? 0 : static_cast<std::uint32_t>(now.frame % kRefreshInterval);
  for (std::uint32_t y = first; y < model.height; y += step) refreshRow(y);
  if (step == 1 || first == 0) {
    freshD = d;
    freshHousing = now.housingExcessK;
  }
  fresh = true;
}

void Detector::refreshRow(std::uint32_t y) {
  const auto d = static_cast<float>(now.detectorCelsius + 273.15 - kReferenceK);
  const double elapsed = std::max(0.0, now.seconds - driftSeconds[y]);
  driftSeconds[y] = now.seconds;
  const auto walk = static_cast<float>(kWalkSpread * std::sqrt(elapsed));
  const float* step =
      &noise[mixBits(mixBits(options.seed, 10), now.frame * model.height + y) % kNoiseIndexRange];

  const float halfWidth = 0.5f * static_cast<float>(model.width - 1);
  const float halfHeight = 0.5f * static_cast<float>(model.height - 1);
  const float corner = 1.0f / (halfWidth * halfWidth + halfHeight * halfHeight);
  const float dy = static_cast<float>(y) - halfHeight;
  const float housing = kHousingShare * model.responsivity * static_cast<float>(now.housingExcessK);

  const std::size_t start = std::size_t{y} * model.width;
  for (std::uint32_t x = 0; x < model.width; ++x) {
    const std::size_t i = start + x;
    const float dx = static_cast<float>(x) - halfWidth;
    drift[i] += walk * step[x];
    response[i] = fixed.gain[i] * (1.0f + fixed.gainDrift[i] * d);
    level[i] = fixed.offset[i] + fixed.linearDrift[i] * d + fixed.quadraticDrift[i] * d * d +
               housing * ((dx * dx + dy * dy) * corner) + drift[i];
  }
}

void Detector::readRow(std::uint32_t y, const RadianceView& scene, std::span<std::uint8_t> out) const {
  const std::uint64_t random = mixBits(mixBits(options.seed, 11), now.frame * model.height + y);
  const float* rowNoise = &noise[random % kNoiseIndexRange];
  const float shared = commonLevel + kRowNoise * noise[(random >> 32) % kNoiseIndexRange] + 0.5f;
  const float spread = model.noiseK * model.responsivity;
  const std::size_t start = std::size_t{y} * model.width;
  const float* pixelLevel = &level[start];
  const float* pixelResponse = &response[start];
  const float* radiance = scene.data + y * scene.stride;
  const float* columnLevel = column.data();
  std::uint8_t* bytes = out.data();
  const std::uint32_t width = model.width;
  for (std::uint32_t x = 0; x < width; ++x) {
    const float value =
        pixelLevel[x] + pixelResponse[x] * radiance[x] + columnLevel[x] + shared + spread * rowNoise[x];
    const std::uint32_t count = toCount(value);
    // The low bits of a random mantissa are as good as any.
    const std::uint32_t noiseBits = std::bit_cast<std::uint32_t>(rowNoise[x]) & 3u;
    bytes[2 * x] = static_cast<std::uint8_t>(count >> 6);
    bytes[2 * x + 1] = static_cast<std::uint8_t>((count & 63u) << 2 | noiseBits);
  }
  applyDefects(y, out);
}

void Detector::applyDefects(std::uint32_t y, std::span<std::uint8_t> out) const {
  for (auto i = firstDefectOfRow[y]; i < firstDefectOfRow[y + 1]; ++i) {
    const auto& defect = defectList[i];
    std::uint8_t* bytes = &out[2 * std::size_t{defect.pixel - y * model.width}];
    std::uint32_t count = defect.kind == DefectKind::Dead ? 0 : kFullScale;
    if (defect.kind == DefectKind::Flickering) {
      const bool high = mixBits(mixBits(options.seed, 12) + defect.pixel, now.frame) < kFlickerChance;
      count = std::uint32_t{bytes[0]} << 6 | bytes[1] >> 2;
      if (high) count = std::min(count + kFlickerCounts, kFullScale);
    }
    bytes[0] = static_cast<std::uint8_t>(count >> 6);
    bytes[1] = static_cast<std::uint8_t>((count & 63u) << 2 | (bytes[1] & 3u));
  }
}

}  // namespace simulation
