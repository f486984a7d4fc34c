#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "common/mutex.h"
#include "tools/virtual-camera/CameraServer.h"

namespace virtualcamera {

/// One camera and its port: plugs it in, serves it, and plugs it in again after a replug of its own.
class PluggedCamera {
 public:
  /// Takes a line for the user; called from `run`'s thread.
  using Report = std::function<void(const std::string&)>;

  /// port: where to plug it in; without one, the first free port each time.
  PluggedCamera(const simulation::CameraSpec& spec, std::string attachRoot, std::optional<unsigned> port,
                Report report);

  /// Plugs the camera in. An empty result means success, otherwise it is the reason.
  std::string plugIn();
  /// Serves it until `stop` or until the host has thrown it out. False when it could not be plugged in again.
  bool run();
  /// From any thread.
  void stop();
  /// Whether frame periods pass by `step` alone.
  bool stepped() const { return camera.description().singleStep; }
  /// Lets one frame period pass, where the scenario says "step=on". From any thread.
  void step();
  /// What passed the extension unit so far: "SET 5 R12 0000 0000" is a command through control 5,
  /// "GET 5 16" an answer of 16 bytes; failed ones are marked.
  std::vector<std::string> transferLines() const;

 private:
  bool waitForReplug();
  std::string plugInAgain();

  simulation::SimulatedCamera camera;
  const std::string root;
  const std::optional<unsigned> wantedPort;
  const Report report;

  Mutex mutex{LockRank::port};
  std::condition_variable condition;
  std::shared_ptr<CameraServer> server GUARDED_BY(mutex);
  bool stopping GUARDED_BY(mutex) = false;
};

}  // namespace virtualcamera
