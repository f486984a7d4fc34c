#pragma once

#include <chrono>

/// Times stages that follow one another. Switched off it costs nothing.
class StageClock {
 public:
  using Clock = std::chrono::steady_clock;

  explicit StageClock(bool on) : running(on) { restart(); }

  /// The next stage starts now.
  void restart() {
    if (running) stageStart = Clock::now();
  }
  /// Stores the time since the last lap and starts the next stage.
  void lap(float& milliseconds) {
    if (!running) return;
    const auto now = Clock::now();
    milliseconds = elapsedMs(stageStart, now);
    stageStart = now;
  }
  /// In whole microseconds, as milliseconds.
  static float elapsedMs(Clock::time_point start, Clock::time_point end) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(end - start);
    return static_cast<float>(static_cast<double>(elapsed.count()) / 1000.0);
  }

 private:
  bool running;
  Clock::time_point stageStart{};
};
