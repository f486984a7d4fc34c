#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>

#include "acquisition/backends/v4l2/MappedBuffers.h"
#include "acquisition/backends/v4l2/OpenNode.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace v4l2 {

/// The running stream of one camera and its delivery thread: one sample per request, out of the driver's
/// mapped buffers. The threads share ownership, so that one that the driver holds at closing can be left
/// behind; it never calls the receiver again.
class SampleStream : public std::enable_shared_from_this<SampleStream> {
 public:
  SampleStream(std::shared_ptr<OpenNode> node, transport::SampleReceiver& receiver);
  ~SampleStream();
  SampleStream(const SampleStream&) = delete;
  SampleStream& operator=(const SampleStream&) = delete;

  /// Bytes from the first pixel of a frame to the end of its last; a sample with fewer is none.
  void setFrameBytes(std::size_t bytes) { frameBytes = bytes; }
  /// Asks for one sample; the first request starts stream and thread, and undoes itself when it fails.
  std::int32_t request() EXCLUDES(mutex);
  void beginClose() EXCLUDES(mutex);
  /// Ends delivery and stream, within about a second unless the receiver holds the thread.
  void close() EXCLUDES(mutex);

 private:
  using Clock = std::chrono::steady_clock;
  enum class Turn { wait, look, end };

  std::int32_t start() REQUIRES(mutex);
  std::int32_t startBuffers();
  void deliveryThreadProc();
  Turn nextTurn();
  bool serve();
  bool tolerates(std::int32_t status);
  bool deliver(std::int32_t status, const v4l2_buffer& buffer) EXCLUDES(mutex);
  bool waitForEnd(Clock::time_point deadline) EXCLUDES(mutex);
  void releaseBuffers(Clock::time_point deadline) EXCLUDES(mutex);

  const std::shared_ptr<OpenNode> node;
  // Made under the mutex by the first request; then the delivery thread's, which the request starts.
  int wakeEvent = -1;  ///< ends the thread's wait
  MappedBuffers buffers;
  std::atomic<std::size_t> frameBytes{0};

  Mutex mutex{LockRank::delivery};
  std::condition_variable condition;
  transport::SampleReceiver* receiver GUARDED_BY(mutex);  ///< null once closed
  std::thread thread GUARDED_BY(mutex);
  bool started GUARDED_BY(mutex) = false;
  bool requested GUARDED_BY(mutex) = false;
  bool closing GUARDED_BY(mutex) = false;
  Clock::time_point closeDeadline GUARDED_BY(mutex){};
  bool inCallback GUARDED_BY(mutex) = false;
  bool ended GUARDED_BY(mutex) = false;   ///< the thread has left its loop for good
  bool closed GUARDED_BY(mutex) = false;  ///< `close` has been here
  bool lost GUARDED_BY(mutex) = false;

  // The delivery thread's own.
  int failuresInARow = 0;
  bool pollFailed = false;  ///< the last wait told of an error of the device
};

}  // namespace v4l2
