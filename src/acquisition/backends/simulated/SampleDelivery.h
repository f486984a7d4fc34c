#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "acquisition/backends/simulated/streamStatistics.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace simulation {

/// What is known about a camera's stream; outlives the opened device.
class StreamRecord {
 public:
  StreamCounts counts() const;
  std::int64_t handOverNs(std::uint64_t sequence) const;

 private:
  friend class SampleDelivery;
  friend class SimulatedDevice;
  mutable Mutex mutex{LockRank::streamRecord};
  StreamCounts current GUARDED_BY(mutex);
  HandOverTimes times GUARDED_BY(mutex);
};

/// The delivery thread of one opened camera: one sample per request, paced by the camera's rate. A consumer
/// that is late by more than the camera's buffers loses samples. The thread shares ownership, so that one
/// that is overdue at closing can be left behind; it never calls the receiver again.
class SampleDelivery : public std::enable_shared_from_this<SampleDelivery> {
 public:
  SampleDelivery(std::shared_ptr<SimulatedCamera> camera, std::shared_ptr<StreamRecord> record,
                 transport::SampleReceiver& receiver);

  /// Asks for one sample; the first request starts stream and thread. 0 or a negative status.
  std::int32_t request();
  void beginClose();
  /// Waits for the thread, at most about one second unless the receiver holds it.
  void close();
  /// Lets `count` frame periods pass on the delivery thread and waits until their callbacks have returned.
  /// Single-step mode only. Returns how many passed before the deadline.
  std::uint64_t pump(std::uint64_t count, std::chrono::milliseconds timeout);

 private:
  using Clock = std::chrono::steady_clock;

  void deliveryThreadProc();
  bool waitForTurn() EXCLUDES(mutex);
  bool turnComes(MutexLock& lock) REQUIRES(mutex);
  void paceTo(Clock::time_point now) REQUIRES(mutex);
  void deliverNext();
  void handOver(const ProducedSample& produced);
  void finish();

  const std::shared_ptr<SimulatedCamera> camera;
  const std::shared_ptr<StreamRecord> record;
  const std::uint64_t generation;  ///< of the camera when it was opened
  const bool singleStep;
  const std::uint32_t buffers;

  Mutex mutex{LockRank::delivery};
  std::condition_variable condition;
  transport::SampleReceiver* receiver GUARDED_BY(mutex);  ///< null once closed
  std::thread thread GUARDED_BY(mutex);
  bool started GUARDED_BY(mutex) = false;
  bool closing GUARDED_BY(mutex) = false;
  Clock::time_point closeDeadline GUARDED_BY(mutex){};
  bool ended GUARDED_BY(mutex) = false;  ///< the thread has left its loop for good
  bool inCallback GUARDED_BY(mutex) = false;
  bool requested GUARDED_BY(mutex) = false;
  std::uint64_t stepsWanted GUARDED_BY(mutex) = 0;
  std::uint64_t stepsDone GUARDED_BY(mutex) = 0;
  std::uint64_t missedPeriods GUARDED_BY(mutex) = 0;  ///< to be skipped before the next sample
  Clock::time_point nextDue GUARDED_BY(mutex);        ///< of the next sample, without jitter
  double pace GUARDED_BY(mutex) = 0.0;                ///< period that nextDue was made with, seconds

  // The delivery thread's own.
  std::vector<std::uint8_t> buffer;
  std::int64_t cpuMarkNs = 0;
};

}  // namespace simulation
