#pragma once

#include <cstdint>

/// The course of a shutter run: which step comes when. Images, files and waiting are other people's business.
///
///   idle -> requested -> summing -> finishing -> idle
///              |            |
///              +--> cancelled --> idle
///
/// A request at any time starts the count anew; a request while a run is being finished wins
/// over its end.
class ShutterRunSequence {
 public:
  enum class Phase { idle, requested, summing, finishing, cancelled };
  /// What the processing task has to do when a frame begins.
  enum class Step { none, begin, giveBack };

  /// frames: at least 1.
  void request(std::uint16_t frames);
  /// False when there was nothing to cancel.
  bool cancel();
  /// A frame begins.
  Step nextFrame();
  /// A frame was added; true when it was the last one of the run.
  bool frameSummed();
  /// The result is in force; false when another request came meanwhile, which goes on.
  bool finish();

  Phase phase() const { return current; }
  bool summing() const { return current == Phase::summing; }
  std::uint16_t framesToTake() const { return wanted; }
  std::uint16_t framesTaken() const { return taken; }
  /// Runs that came to an end, with or without a result.
  std::uint32_t runsEnded() const { return ended; }

 private:
  Phase current = Phase::idle;
  std::uint16_t wanted = 0;
  std::uint16_t taken = 0;
  std::uint32_t ended = 0;
};
