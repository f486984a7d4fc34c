#pragma once

#include <atomic>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "acquisition/imageAcquisition.h"

namespace tools {

/// Notes when samples arrive from a camera, and when the camera is lost, on a thread beside those that
/// process: what a getter hands out can then be dated. On a busy machine it may be late itself.
class ArrivalWitness {
 public:
  using Clock = std::chrono::steady_clock;

  /// The camera must outlive this.
  explicit ArrivalWitness(imageAcquisition& watchedCamera);
  ~ArrivalWitness() { stop(); }
  ArrivalWitness(const ArrivalWitness&) = delete;
  ArrivalWitness& operator=(const ArrivalWitness&) = delete;

  /// Ends the thread; what follows may be called only then.
  void stop();
  /// When the sample of a frame number came; nothing when two came too close to each other to be told apart.
  std::optional<Clock::time_point> arrivalOf(std::uint64_t number) const;
  std::optional<Clock::time_point> lossTime() const { return lost; }

 private:
  void witnessThreadProc();

  imageAcquisition& camera;
  std::vector<std::pair<std::uint64_t, Clock::time_point>> arrivals;  ///< by number, ascending
  std::optional<Clock::time_point> lost;
  std::atomic<bool> stopping{false};
  std::thread thread;
};

}  // namespace tools
