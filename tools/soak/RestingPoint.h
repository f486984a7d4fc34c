#pragma once

#include <memory>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "tools/soak/ProcessFigures.h"
#include "tools/soak/Watchdog.h"

namespace soak {

/// What the process holds between two lives of the SDK. To be taken in one and the same state each time: the
/// SDK has come up and gone with cameras that nobody opened.
class RestingPoint {
 public:
  /// warmUp: how many figures do not count.
  explicit RestingPoint(std::size_t warmUp);

  /// Waits for the threads that a slow stop left behind, and takes the figures. Without an SDK object.
  void take(Findings& findings);
  const std::vector<ProcessFigures>& samples() const { return growth.samples(); }
  const ProcessFigures& latest() const { return samples().back(); }
  /// Says what grew, if enough figures were taken to tell; false otherwise.
  bool conclude(Findings& findings) const;

 private:
  void comeAndGo(int processingUnits) const;

  const std::shared_ptr<simulation::SimulatedPlatform> platform;
  std::uint64_t threadsAtRest = 0;
  GrowthCheck growth;
};

}  // namespace soak
