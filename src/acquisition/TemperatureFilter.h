#pragma once

/// Smooths the sensor temperature and derives its rate of change; single precision throughout.
struct TemperatureFilter {
  float filteredK = 0.0f;  ///< 0.15 new + 0.85 old; the first value stands for itself
  float rateKPerS = 0.0f;  ///< 0.005 new + 0.995 old; 0 at first
  bool started = false;

  /// Takes one value, `elapsedMs` after the one before it. Without elapsed time the rate stays as it is.
  void update(float kelvin, float elapsedMs) {
    if (!started) {
      started = true;
      filteredK = kelvin;
      rateKPerS = 0.0f;
      return;
    }
    const float previous = filteredK;
    filteredK = 0.15f * kelvin + 0.85f * previous;
    if (!(elapsedMs > 0.0f)) return;
    const float rate = (filteredK - previous) / elapsedMs * 1000.0f;
    rateKPerS = 0.005f * rate + 0.995f * rateKPerS;
  }
};
