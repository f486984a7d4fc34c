#pragma once

#include <cmath>
#include <cstdint>

namespace simulation {

/// Mixes a 64-bit number so that neighbouring inputs give unrelated outputs.
constexpr std::uint64_t mixBits(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15ULL;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
  return value ^ (value >> 31);
}

constexpr std::uint64_t mixBits(std::uint64_t a, std::uint64_t b) { return mixBits(mixBits(a) ^ b); }

/// Random numbers of our own: the distributions of <random> differ between standard libraries, and one seed
/// must give one picture everywhere.
class RandomSource {
 public:
  explicit RandomSource(std::uint64_t seed) : state(seed) {}

  std::uint64_t bits() { return mixBits(state++); }
  /// In [0, 1).
  double uniform() { return static_cast<double>(bits() >> 11) * 0x1.0p-53; }
  /// Below `bound`, which is not 0.
  std::uint64_t below(std::uint64_t bound) { return bits() % bound; }

  /// Mean 0, standard deviation 1 (polar method, two at a time).
  double gaussian() {
    if (spareReady) {
      spareReady = false;
      return spare;
    }
    double u = 0.0, v = 0.0, s = 0.0;
    do {
      u = 2.0 * uniform() - 1.0;
      v = 2.0 * uniform() - 1.0;
      s = u * u + v * v;
    } while (s >= 1.0 || s == 0.0);
    const double factor = std::sqrt(-2.0 * std::log(s) / s);
    spare = v * factor;
    spareReady = true;
    return u * factor;
  }

 private:
  std::uint64_t state;
  double spare = 0.0;
  bool spareReady = false;
};

}  // namespace simulation
