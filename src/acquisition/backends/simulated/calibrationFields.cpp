#include "acquisition/backends/simulated/calibrationFields.h"

#include <algorithm>
#include <cmath>

#include "acquisition/backends/simulated/radiance.h"
#include "common/numerics.h"

namespace simulation {
namespace {

std::uint32_t sumOf(double meanCount) {
  return truncateToU32(std::clamp(meanCount, 0.0, double{kFullScale}) * kBenchFrames + 0.5);
}

}  // namespace

image<unsigned int> benchTable(const CameraModel& model, const FixedPattern& fixed,
                               std::span<const Defect> defects, double blackBodyK, double detectorCelsius) {
  const double radiance = radianceOf(blackBodyK);
  const double d = detectorCelsius + 273.15 - kReferenceK;
  const double common = model.baseCounts + model.linearDrift * d + model.quadraticDrift * d * d;
  const auto meanCount = [&](std::size_t i) {
    return common + fixed.offset[i] + fixed.linearDrift[i] * d + fixed.quadraticDrift[i] * d * d +
           fixed.gain[i] * (1.0 + fixed.gainDrift[i] * d) * radiance;
  };
  image<unsigned int> table(static_cast<std::uint16_t>(model.width),
                            static_cast<std::uint16_t>(model.height));
  for (std::size_t i = 0; i < table.pixelCount(); ++i) table.data[i] = sumOf(meanCount(i));

  const double chance = static_cast<double>(kFlickerChance) * 0x1.0p-64;
  for (const auto& defect : defects) {
    const bool flickering = defect.kind == DefectKind::Flickering;
    const double stuck = defect.kind == DefectKind::Dead ? 0.0 : kFullScale;
    table.data[defect.pixel] = sumOf(flickering ? meanCount(defect.pixel) + chance * kFlickerCounts : stuck);
  }
  return table;
}

std::vector<ffcPixelPolyfit> benchPolynomials(const CameraModel& model, const FixedPattern& fixed) {
  constexpr double kZeroK = kReferenceK;
  const double radiancePerKelvin = radianceOf(kHighBlackBodyK) / (kHighBlackBodyK - kLowBlackBodyK);
  std::vector<ffcPixelPolyfit> table(fixed.gain.size());
  for (std::size_t i = 0; i < table.size(); ++i) {
    // The level before the low black body, a0 + a1 Tk + a2 Tk^2, and the counts per kelvin, g0 + g1 Tk.
    const double linear = double{model.linearDrift} + fixed.linearDrift[i];
    const double a2 = double{model.quadraticDrift} + fixed.quadraticDrift[i];
    const double a1 = linear - 2.0 * kZeroK * a2;
    const double a0 = double{model.baseCounts} + fixed.offset[i] - kZeroK * linear + kZeroK * kZeroK * a2;
    const double gain = double{fixed.gain[i]} * radiancePerKelvin;
    const double g1 = gain * fixed.gainDrift[i];
    const double g0 = gain - kZeroK * g1;
    auto& pixel = table[i];
    pixel.g0 = static_cast<float>(g0);
    pixel.g1 = static_cast<float>(g1);
    pixel.o0 = static_cast<float>(a0 - kLowBlackBodyK * g0);
    pixel.o1 = static_cast<float>(a1 - kLowBlackBodyK * g1);
    pixel.o2 = static_cast<float>(a2);
  }
  return table;
}

std::vector<std::uint16_t> benchThermographicTable() {
  constexpr std::uint32_t kLevels = 65536;
  const double radiancePerKelvin = radianceOf(kHighBlackBodyK) / (kHighBlackBodyK - kLowBlackBodyK);
  std::vector<std::uint16_t> table(kLevels);
  for (std::uint32_t p = 0; p < kLevels; ++p) {
    const double linearK = kRangeMinK + kRangeSpanK * p / (kLevels - 1);
    const double kelvin = kelvinOf(radiancePerKelvin * (linearK - kLowBlackBodyK));
    table[p] = truncateToU16((kelvin - kRangeMinK) / kRangeSpanK * (kLevels - 1) + 0.5);
  }
  return table;
}

std::vector<std::pair<int, int>> benchDefects(const CameraModel& model, std::span<const Defect> defects) {
  std::vector<std::pair<int, int>> list;
  list.reserve(defects.size() + 1);
  for (const auto& defect : defects) {
    list.emplace_back(static_cast<int>(defect.pixel % model.width),
                      static_cast<int>(defect.pixel / model.width));
  }
  const std::pair last(static_cast<int>(model.width) - 1, static_cast<int>(model.height) - 1);
  const bool carriesTemperature = model.temperature != TemperatureFormat::ReferenceColumns;
  if (carriesTemperature && (list.empty() || list.back() != last)) list.push_back(last);
  return list;
}

}  // namespace simulation
