#include "acquisition/backends/v4l2/SampleStream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "acquisition/backends/v4l2/errorText.h"
#include "common/format.h"
#include "core/logger.h"
#include "core/threadStart.h"

namespace v4l2 {
namespace {

constexpr std::uint32_t kBuffers = 4;
constexpr int kPollMs = 500;
constexpr int kBearableFailures =
    3;  // the third input or output error in a row means that the camera is gone
constexpr auto kLongestClose = std::chrono::seconds(1);
constexpr auto kShortestClose = std::chrono::milliseconds(250);  // also when `beginClose` was long ago
constexpr auto kSlice = std::chrono::milliseconds(20);

/// What errors that were borne too often mean.
std::int32_t lastStatus(std::int32_t status) {
  return status == -EIO || status == -EAGAIN ? transport::kStatusDeviceLost : status;
}

std::int64_t microseconds(const v4l2_buffer& buffer) {
  return std::int64_t{buffer.timestamp.tv_sec} * 1'000'000 + buffer.timestamp.tv_usec;
}

}  // namespace

SampleStream::SampleStream(std::shared_ptr<OpenNode> openNode, transport::SampleReceiver& sampleReceiver)
    : node(std::move(openNode)), buffers(node, V4L2_BUF_TYPE_VIDEO_CAPTURE), receiver(&sampleReceiver) {}

SampleStream::~SampleStream() {
  if (wakeEvent >= 0) node->calls->closeDescriptor(wakeEvent);
}

std::int32_t SampleStream::request() {
  MutexLock lock(mutex);
  if (lost) return transport::kStatusDeviceLost;
  if (closing) return started && !ended ? 0 : -EBADF;  // a stream that ends owes nothing more
  if (!started) {
    const std::int32_t status = start();
    if (status < 0) return status;
    started = true;
  }
  requested = true;
  // The delivery thread itself asks from inside its callback and needs no waking.
  if (!inCallback) node->calls->signalEvent(wakeEvent);
  return 0;
}

std::int32_t SampleStream::start() {
  if (wakeEvent < 0) wakeEvent = node->calls->openEvent();
  if (wakeEvent < 0) return std::exchange(wakeEvent, -1);
  std::int32_t status = 0;
  try {
    status = startBuffers();
    if (status >= 0)
      thread = threadStart::start("delivery", [self = shared_from_this()] { self->deliveryThreadProc(); });
  } catch (const std::system_error&) {
    status = -EAGAIN;
  } catch (const std::bad_alloc&) {
    status = -ENOMEM;
  }
  if (status < 0) buffers.release();
  return status;
}

std::int32_t SampleStream::startBuffers() {
  std::int32_t status = buffers.allocate(kBuffers, frameBytes);
  for (std::uint32_t i = 0; i < buffers.count() && status >= 0; ++i) status = buffers.queue(i);
  return status < 0 ? status : buffers.streamOn();
}

void SampleStream::deliveryThreadProc() {
  for (;;) {
    const Turn turn = nextTurn();
    if (turn == Turn::end || (turn == Turn::look && !serve())) break;
  }
  MutexLock lock(mutex);
  ended = true;
  condition.notify_all();
}

/// Waits for a picture that somebody wants, for a new request, or for the end.
SampleStream::Turn SampleStream::nextTurn() {
  int watched = -1;  // poll skips it; an idle stream must not spin on a picture nobody wants
  {
    MutexLock lock(mutex);
    if (closing) return Turn::end;
    if (requested) watched = node->descriptor;
  }
  std::array<pollfd, 2> descriptors{{{watched, POLLIN, 0}, {wakeEvent, POLLIN, 0}}};
  const int events = node->calls->wait(descriptors, kPollMs);
  if (descriptors[1].revents != 0) node->calls->clearEvent(wakeEvent);
  // Errors of the device come with the picture that cannot be had; poll itself fails for want of memory only.
  if (events < 0 && events != -EINTR) node->calls->sleepFor(kSlice);
  pollFailed = events > 0 && (descriptors[0].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
  return events > 0 && descriptors[0].revents != 0 ? Turn::look : Turn::wait;
}

/// Delivers what the driver has; false when the stream is over.
bool SampleStream::serve() {
  v4l2_buffer buffer;
  std::int32_t status = buffers.dequeue(buffer);
  if (status < 0) return tolerates(status) || deliver(lastStatus(status), buffer);
  failuresInARow = 0;
  if (!deliver(0, buffer)) return false;
  do {
    status = buffers.queue(buffer.index);
  } while (status == -EIO && tolerates(status));
  return status >= 0 || deliver(lastStatus(status), buffer);
}

/// Errors that may pass. A queue in error makes poll answer at once for ever, so "nothing yet" counts then.
bool SampleStream::tolerates(std::int32_t status) {
  if (status == -EAGAIN && !pollFailed) return true;
  if (status != -EIO && status != -EAGAIN) return false;
  return ++failuresInARow < kBearableFailures;
}

/// One call of the receiver, for one request. False when the stream is over.
bool SampleStream::deliver(std::int32_t status, const v4l2_buffer& buffer) {
  transport::SampleReceiver* target = nullptr;
  {
    MutexLock lock(mutex);
    if (status < 0) lost = true;
    if (closing) return false;
    requested = false;
    inCallback = true;
    target = receiver;
  }
  const bool whole = status >= 0 && (buffer.flags & V4L2_BUF_FLAG_ERROR) == 0 && buffer.bytesused > 0 &&
                     buffer.bytesused >= frameBytes && buffer.bytesused <= buffers.bytes(buffer.index).size();
  if (whole) {
    const transport::Sample sample{buffers.bytes(buffer.index).first(buffer.bytesused)};
    target->onSample(0, microseconds(buffer), &sample);
  } else {
    target->onSample(status, microseconds(buffer), nullptr);
  }
  MutexLock lock(mutex);
  inCallback = false;
  condition.notify_all();
  return status >= 0;
}

void SampleStream::beginClose() {
  MutexLock lock(mutex);
  if (!closing) closeDeadline = Clock::now() + kLongestClose;
  closing = true;
  if (wakeEvent >= 0) node->calls->signalEvent(wakeEvent);
}

void SampleStream::close() {
  beginClose();
  Clock::time_point deadline;
  {
    MutexLock lock(mutex);
    if (!started || closed) return;
    closed = true;
    deadline = std::max(closeDeadline, Clock::now() + kShortestClose);
  }
  if (waitForEnd(deadline)) {
    releaseBuffers(std::max(deadline, Clock::now() + kShortestClose));
  } else {
    logger::warning(format("{:s}: the driver holds the delivery thread, leaving it", node->path), LOG_HERE);
  }
}

/// Waits for the delivery thread; false when it was left behind.
bool SampleStream::waitForEnd(Clock::time_point deadline) {
  MutexLock lock(mutex);
  // A callback in progress is the receiver's own time; past the deadline only that is worth waiting for.
  while (!ended && (inCallback || Clock::now() < deadline)) condition.wait_for(lock.native(), kSlice);
  receiver = nullptr;
  auto finished = std::exchange(thread, std::thread());
  const bool endedInTime = ended;
  lock.unlock();
  if (!finished.joinable()) return endedInTime;
  if (endedInTime) {
    finished.join();
  } else {
    finished.detach();
  }
  return endedInTime;
}

/// Ends the stream, which asks the camera something and may take as long as a transfer: on a thread of its
/// own, so that a camera that does not answer delays nobody.
void SampleStream::releaseBuffers(Clock::time_point deadline) {
  struct Progress {
    Mutex mutex;
    std::condition_variable condition;
    bool done GUARDED_BY(mutex) = false;
  };
  std::shared_ptr<Progress> progress;
  std::thread stopper;
  try {
    progress = std::make_shared<Progress>();
    stopper = threadStart::start("end of stream", [self = shared_from_this(), progress] {
      self->buffers.release();
      MutexLock lock(progress->mutex);
      progress->done = true;
      progress->condition.notify_all();
    });
  } catch (const std::exception&) {  // no thread, no memory: rather wait for it than leave it streaming
    buffers.release();
    return;
  }
  MutexLock lock(progress->mutex);
  while (!progress->done && Clock::now() < deadline) progress->condition.wait_for(lock.native(), kSlice);
  const bool done = progress->done;
  lock.unlock();
  if (done) {
    stopper.join();
  } else {
    stopper.detach();
    logger::warning(format("{:s}: the camera does not answer the end of its stream, leaving it", node->path),
                    LOG_HERE);
  }
}

}  // namespace v4l2
