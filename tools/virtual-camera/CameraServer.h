#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "common/mutex.h"
#include "tools/virtual-camera/PayloadCutter.h"
#include "tools/virtual-camera/UvcControl.h"

namespace virtualcamera {

/// Serves one plugged-in camera: reads the host's messages from a socket on the caller's thread, and sends
/// frames at the camera's rate on a thread of its own.
class CameraServer {
 public:
  /// socket: a connected stream socket, owned from here on. The camera must outlive this.
  CameraServer(simulation::SimulatedCamera& camera, int socket);
  ~CameraServer();
  CameraServer(const CameraServer&) = delete;
  CameraServer& operator=(const CameraServer&) = delete;

  /// Returns when the host has closed the connection or sent nonsense, when the camera was unplugged, or
  /// after `stop`. Called once.
  void run();
  /// Ends `run`; the host sees the camera being pulled out. From any thread.
  void stop();
  /// Lets one frame period of a camera that is stepped ("step=on") pass, once it streams. From any thread.
  void step();

 private:
  using Clock = std::chrono::steady_clock;
  struct Transfer {
    std::uint32_t sequence = 0;
    std::size_t length = 0;
  };

  bool serveMessage();
  bool serveControl(const HostMessage& message, std::span<const std::uint8_t> data);
  bool serveStream(const HostMessage& message);
  bool serveUnlink(const HostMessage& message);
  void apply(ControlAnswer::Effect effect);
  bool receive(std::span<std::uint8_t> bytes);
  bool send(std::span<const std::uint8_t> header, std::span<const std::uint8_t> bytes) REQUIRES(mutex);

  void streamThreadProc();
  bool waitForStream() EXCLUDES(mutex);
  bool waitForTurn() EXCLUDES(mutex);
  void dropLateFrames(Clock::time_point now);
  void sendNextFrame();
  void sendFrame(std::span<const std::uint8_t> frame, bool broken);
  bool streaming() const REQUIRES(mutex) { return !ended && current != 0 && current == served; }

  simulation::SimulatedCamera& camera;
  UvcControl control;
  const bool stepped;
  const int socket;
  std::vector<std::uint8_t> incoming;  ///< bytes behind a header; the reading thread's own

  // Answers leave under the lock that their transfer was taken under: the host breaks the connection when
  // it hears of a transfer that it was just told is called off.
  Mutex mutex{LockRank::delivery};
  std::condition_variable condition;
  std::deque<Transfer> waiting GUARDED_BY(mutex);  ///< of the stream's endpoint, in the host's order
  bool ended GUARDED_BY(mutex) = false;
  std::uint64_t steps GUARDED_BY(mutex) = 0;    ///< that are still to be taken
  std::uint64_t starts GUARDED_BY(mutex) = 0;   ///< times that a stream was started
  std::uint64_t current GUARDED_BY(mutex) = 0;  ///< number of the stream that runs, 0 = none
  std::uint64_t served GUARDED_BY(mutex) = 0;   ///< number of the stream that the thread sends

  // The stream thread's own.
  std::vector<std::uint8_t> frame;
  std::vector<std::uint8_t> transfer;
  PayloadCutter cutter;
  Clock::time_point nextDue;
};

}  // namespace virtualcamera
