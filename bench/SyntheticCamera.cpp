#include "bench/SyntheticCamera.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "common/numerics.h"

namespace bench {

namespace {

constexpr double kTopLevel = 16383.0;
constexpr double kNoise = 6.0;

class RandomSource {
 public:
  explicit RandomSource(std::uint64_t seed) : state(seed) {}
  std::uint32_t next() {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<std::uint32_t>(state >> 33);
  }
  double uniform() { return next() / 2147483648.0; }
  /// Nearly normal, with a standard deviation of 1.
  double normal() {
    const double a = uniform(), b = uniform(), c = uniform(), d = uniform();
    return (a + b + c + d - 2.0) * 1.7320508;
  }

 private:
  std::uint64_t state;
};

std::uint16_t level(double value) { return truncateToU16(std::clamp(value, 0.0, kTopLevel)); }

std::vector<double> fixedPattern(const SyntheticCamera& camera, RandomSource& random) {
  std::vector<double> columns(camera.width);
  for (double& column : columns) column = 30.0 * random.normal();
  std::vector<double> pattern(camera.pixelCount());
  for (std::size_t i = 0; i < pattern.size(); ++i)
    pattern[i] = 120.0 * random.normal() + columns[i % camera.width];
  return pattern;
}

std::vector<double> scene(const SyntheticCamera& camera, RandomSource& random) {
  struct Blob {
    double x, y, size, height;
  };
  std::vector<Blob> blobs(5);
  for (Blob& blob : blobs) {
    blob.x = random.uniform() * camera.width;
    blob.y = random.uniform() * camera.height;
    blob.size = (0.02 + 0.06 * random.uniform()) * camera.width;
    blob.height = 800.0 + 2200.0 * random.uniform();
  }
  std::vector<double> levels;
  levels.reserve(camera.pixelCount());
  for (int y = 0; y < camera.height; ++y) {
    for (int x = 0; x < camera.width; ++x) {
      double value = 7000.0 + 600.0 * x / camera.width + 300.0 * y / camera.height;
      for (const Blob& blob : blobs) {
        const double dx = x - blob.x, dy = y - blob.y;
        value += blob.height * std::exp(-(dx * dx + dy * dy) / (2.0 * blob.size * blob.size));
      }
      levels.push_back(value);
    }
  }
  return levels;
}

enum PixelKind : std::uint8_t { sound, dead, stuck };

std::vector<PixelKind> pixelKinds(const SyntheticCamera& camera, RandomSource& random) {
  std::vector<PixelKind> kinds(camera.pixelCount(), sound);
  for (std::size_t i = 0; i < camera.pixelCount() / 1000; ++i) {
    const std::size_t place = (std::size_t{random.next()} * 2 + (random.next() & 1)) % kinds.size();
    kinds[place] = (random.next() & 1) != 0 ? dead : stuck;
  }
  return kinds;
}

}  // namespace

SyntheticCamera::SyntheticCamera(std::uint16_t imageWidth, std::uint16_t imageHeight)
    : width(imageWidth), height(imageHeight), table(pixelCount()) {
  RandomSource random(20240607u + std::uint64_t{width} * 131 + height);
  const std::vector<double> pattern = fixedPattern(*this, random);
  const std::vector<double> levels = scene(*this, random);
  const std::vector<PixelKind> kinds = pixelKinds(*this, random);

  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (kinds[i] != sound) defects.emplace_back(static_cast<int>(i % width), static_cast<int>(i / width));
  }
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < table.size(); ++i) {
    for (int f = 0; f < kTableFrames; ++f) table[i] += level(7000.0 + pattern[i] + kNoise * random.normal());
    sum += table[i] / kTableFrames;
  }
  target = static_cast<std::uint32_t>(sum / table.size());

  for (std::size_t f = 0; f < kFrames; ++f) {
    std::vector<std::uint8_t>& bytes = frames.emplace_back();
    bytes.reserve(2 * pixelCount());
    for (std::size_t i = 0; i < pixelCount(); ++i) {
      std::uint32_t value = level(levels[i] + pattern[i] + kNoise * random.normal());
      if (kinds[i] != sound) value = kinds[i] == dead ? 0 : 16383;
      const std::uint32_t word = (value << 2) | (random.next() & 3);  // the low bits are noise of the link
      bytes.push_back(static_cast<std::uint8_t>(word >> 8));
      bytes.push_back(static_cast<std::uint8_t>(word & 0xFF));
    }
  }
}

const SyntheticCamera& syntheticCamera(std::uint16_t width, std::uint16_t height) {
  static std::map<std::pair<std::uint16_t, std::uint16_t>, SyntheticCamera> cameras;
  const auto found = cameras.find({width, height});
  if (found != cameras.end()) return found->second;
  return cameras.emplace(std::pair{width, height}, SyntheticCamera(width, height)).first->second;
}

}  // namespace bench
