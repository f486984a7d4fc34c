#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "ombrix/export.h"

/// The first object an application creates, and the last it destroys: its constructor starts the logger, the
/// settings, the thread pools and the colour presets and looks for cameras; its destructor stops and releases
/// every camera. One per process is meant; what it sets up is process-wide.
///
/// Nothing here throws. Construct and destroy it on one thread; the other members may be called from any.
///
/// Environment: OMBRIX_BACKEND (`simulated` runs without a camera, `v4l2` is Linux's own) and
/// OMBRIX_SIMULATION (which simulated cameras) are read at construction.
class OMBRIX_EXPORT OmbrixSDK {
 public:
  /// How much is logged; each level includes those before it.
  enum verbosityLevel : std::uint8_t { verbosityErrors, verbosityWarnings, verbosityInfo, verbosityDebug };

  /// verbosity: the console log's level; 3 is taken as 2 by the logger, and 2 or more also sets the "verbose"
  /// parameter.  processingUnits: number of processing threads and of tasks a frame is split into; below 1
  /// means one per hardware thread.
  OmbrixSDK(const verbosityLevel& verbosity = verbosityErrors, const int& processingUnits = 0);
  /// Copies share the process-wide state; nothing is started again.
  OmbrixSDK(const OmbrixSDK& other);
  /// Changes nothing: there is nothing to assign.
  OmbrixSDK& operator=(const OmbrixSDK& other);
  /// Stops and releases every camera; blocked getters return. Takes at most about 2 s whatever the cameras do
  /// (longer only when another thread's register transfer is in progress: at most 5 s more).
  virtual ~OmbrixSDK();

  /// Number of supported cameras found at construction; 0 when `mStatus` is false.
  int getDeviceCount();
  /// Display name of camera `index` (0 .. getDeviceCount() - 1), or "Invalid index".
  std::string getDeviceName(const int& index);
  /// True when an `Ombrix` with this handle was constructed since this SDK was. It stays true for a camera
  /// that failed to open or was unplugged.
  bool isConnected(const int& handle);
  /// Applies one parameter, "key=value" or a flag word; unknown ones are ignored. Safe while frames flow.
  void parseCoreParameter(const std::string& parameter);

  /// Opened cameras by handle; the values are the library's own. Read it only while no `Ombrix` is being
  /// constructed and no `OmbrixSDK` destroyed; `isConnected` has no such limit.
  static std::map<int, void*> mConnectedDevices;
  /// True when the video platform came up and cameras could be enumerated (also when there were none).
  static bool mStatus;
};
