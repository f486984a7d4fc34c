#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "acquisition/backends/simulated/scenario.h"

/// The one camera of a short scenario text; an empty model (null) when the text is wrong.
inline simulation::CameraSpec specOf(const std::string& text) {
  simulation::Scenario scenario;
  simulation::ScenarioError error;
  return simulation::readScenario(text, scenario, error) ? scenario.cameras.at(0) : simulation::CameraSpec();
}

/// The bytes of a camera's next sample.
inline std::vector<std::uint8_t> nextBytes(simulation::SimulatedCamera& camera) {
  std::vector<std::uint8_t> bytes(camera.largestSampleBytes());
  bytes.resize(camera.produce(bytes).sizeBytes);
  return bytes;
}

/// Pixel `index` of a sample, as every receiver has to unpack it: big-endian, upper 14 of 16 bits.
inline int countAt(const std::vector<std::uint8_t>& bytes, std::size_t index) {
  return (bytes[2 * index] * 256 + bytes[2 * index + 1]) / 4;
}

/// Pixel by pixel mean of the next `frames` frames, without the last pixel (it is the temperature word).
inline std::vector<double> meanFrame(simulation::SimulatedCamera& camera, int frames) {
  std::vector<double> sum(camera.sampleBytes() / 2 - 1, 0.0);
  for (int frame = 0; frame < frames; ++frame) {
    const auto bytes = nextBytes(camera);
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += countAt(bytes, i);
  }
  for (auto& value : sum) value /= frames;
  return sum;
}

/// Mean and spread of a set of values.
struct Spread {
  double count = 0.0, sum = 0.0, squares = 0.0;
  void add(double value) { count += 1.0, sum += value, squares += value * value; }
  double mean() const { return sum / count; }
  double variance() const { return squares / count - mean() * mean(); }
  double sigma() const { return std::sqrt(variance()); }
};
