#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/frameMutex.h"

class imageAcquisition;

/// Drives all opened cameras: prepares them, runs the worker thread that cycles over them, turns raw frames
/// into published ones, and releases everything. Opening, `init` and `cleanup` exclude one another.
class Core {
 public:
  /// One processing task's argument.
  struct processThreadData {
    std::uint8_t position = 0;  ///< in the Core's list
    imageAcquisition* acquisition = nullptr;
    std::uint16_t displayWidth = 0;
    std::uint16_t displayHeight = 0;
  };

  /// Creates the camera of handle `deviceHandle`, enters it in the registry and prepares it. One that cannot
  /// be prepared stays registered, a handle that is taken is left alone (both logged). When memory or threads
  /// run out it throws, and nothing is left of the camera.
  static void openCamera(int deviceHandle, const std::string& dataPath);

  /// Starts the worker thread if it is not running, and switches free-run on.
  static void init(int argc = 0, char** argv = nullptr);
  /// The worker thread's body; ends soon after `workerRunningFlag` is cleared.
  static void workerThreadProc();
  /// One camera, one frame: fetches the newest raw frame, processes, colourises and publishes it. Ends
  /// silently when there is no new frame.
  static void processThreadProc(processThreadData data);
  /// Follow-up after publication: timing output when the setting `profiling` is on.
  static void postProcess(imageAcquisition* acquisition);
  /// Stops the worker, wakes blocked getters, stops and releases every camera, releases the settings. Calling
  /// it again does no harm.
  static void cleanup();
};
