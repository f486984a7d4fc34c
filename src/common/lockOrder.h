#pragma once

#include <cstdint>

/// Where a mutex stands in the order of locks, from the outermost to the innermost: a thread that holds one
/// may take later ones only, and no second one of the same rank.
enum class LockRank : std::uint8_t {
  core,        ///< opening, `Core::init`, `Core::cleanup`
  registry,    ///< opened cameras by handle
  cameraList,  ///< the Core's
  startedPlatform,
  platformChoice,
  deviceList,
  frame,         ///< the process-wide one
  paletteBuild,  ///< a palette's selection in progress
  colour,
  calibration,
  colorPresets,
  registers,  ///< a camera's command with its reply
  connection,
  ring,
  port,  ///< a camera plugged in by the tools
  platform,
  seat,
  delivery,
  simulatedFrame,
  simulatedControl,
  streamRecord,
  systemCalls,
  controlLengths,
  settings,
  settingsText,
  snapshotRequest,
  acquiringCount,
  cameraError,
  workerPause,
  pools,
  taskQueue,
  arrivals,
  memory,
  leaf,  ///< what names no rank: nothing but the logger is called under it
  logFile,
  console,
  logSink,
  fairQueue,  ///< inside a FairMutex
};

/// With OMBRIX_CHECK_LOCKS, which the debug and sanitizer presets define, each thread keeps the ranks of the
/// mutexes it holds, and one that takes a mutex out of order aborts the process with a line that names both.
/// Otherwise this is empty and costs nothing.
class LockPlace {
 public:
#if defined(OMBRIX_CHECK_LOCKS)
  static constexpr bool kChecked = true;
  constexpr explicit LockPlace(LockRank place) : rank(place) {}
  void enter() const;  ///< before the mutex is locked
  void leave() const;

 private:
  LockRank rank;
#else
  static constexpr bool kChecked = false;
  constexpr explicit LockPlace(LockRank) {}
  void enter() const {}
  void leave() const {}
#endif
};

/// For the scope in which a mutex is held that comes as a plain std::mutex.
class LockScope {
 public:
  explicit LockScope(LockRank rank) : place(rank) { place.enter(); }
  ~LockScope() { place.leave(); }
  LockScope(const LockScope&) = delete;
  LockScope& operator=(const LockScope&) = delete;

 private:
  LockPlace place;
};
