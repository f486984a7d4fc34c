#include "tools/virtual-camera/CameraServer.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

namespace virtualcamera {
namespace {

constexpr std::uint32_t kStreamEndpointNumber = kStreamEndpoint & 0x0F;
constexpr auto kSlice = std::chrono::milliseconds(20);  // after which changed rates and faults are looked for
constexpr timeval kSendPatience{5, 0};  // a host that takes nothing for so long is as good as gone

std::chrono::steady_clock::duration duration(double seconds) {
  return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
      std::chrono::duration<double>(seconds));
}

}  // namespace

CameraServer::CameraServer(simulation::SimulatedCamera& simulated, int connected)
    : camera(simulated), control(camera), stepped(camera.description().singleStep), socket(connected) {
  // Sending holds the lock that `step` and `stop` take.
  setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &kSendPatience, sizeof kSendPatience);
}

CameraServer::~CameraServer() { close(socket); }

void CameraServer::run() {
  std::thread thread(&CameraServer::streamThreadProc, this);
  while (serveMessage()) {
  }
  stop();
  thread.join();
}

void CameraServer::stop() {
  // First the socket: a thread that is sending holds the lock.
  shutdown(socket, SHUT_RDWR);
  MutexLock lock(mutex);
  ended = true;
  condition.notify_all();
}

void CameraServer::step() {
  MutexLock lock(mutex);
  ++steps;
  condition.notify_all();
}

bool CameraServer::receive(std::span<std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const auto count = ::recv(socket, bytes.data(), bytes.size(), 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

bool CameraServer::send(std::span<const std::uint8_t> header, std::span<const std::uint8_t> bytes) {
  iovec parts[2] = {{const_cast<std::uint8_t*>(header.data()), header.size()},
                    {const_cast<std::uint8_t*>(bytes.data()), bytes.size()}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  while (parts[0].iov_len + parts[1].iov_len > 0) {
    const auto count = ::sendmsg(socket, &message, MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    auto sent = static_cast<std::size_t>(count);
    for (auto& part : parts) {
      const auto step = std::min(sent, part.iov_len);
      part.iov_base = static_cast<std::uint8_t*>(part.iov_base) + step;
      part.iov_len -= step;
      sent -= step;
    }
  }
  return true;
}

bool CameraServer::serveMessage() {
  std::array<std::uint8_t, kHeaderBytes> header{};
  HostMessage message;
  if (!receive(header) || !parseMessage(header, message)) return false;
  incoming.resize(message.payloadBytes());
  if (!receive(incoming)) return false;
  if (message.kind == HostMessage::Kind::Unlink) return serveUnlink(message);
  if (message.endpoint == 0) return serveControl(message, incoming);
  return serveStream(message);
}

bool CameraServer::serveControl(const HostMessage& message, std::span<const std::uint8_t> data) {
  const auto answer = control.answer(message.setup, data);
  if (answer.status == transport::kStatusDeviceLost) return false;
  // A stop counts before its answer leaves, so that no frame follows it; a start only then.
  if (answer.effect == ControlAnswer::Effect::StopStream) apply(answer.effect);
  // The transfer may be shorter than what its setup packet asks for.
  const std::size_t given = message.in ? std::min<std::size_t>(answer.bytes.size(), message.length) : 0;
  const std::size_t actual = answer.status < 0 ? 0 : (message.in ? given : std::size_t{message.length});
  {
    MutexLock lock(mutex);
    const auto bytes = std::span<const std::uint8_t>(answer.bytes).first(given);
    if (!send(submitReply(message.sequence, answer.status, actual), bytes)) return false;
  }
  if (answer.effect == ControlAnswer::Effect::StartStream) apply(answer.effect);
  return true;
}

void CameraServer::apply(ControlAnswer::Effect effect) {
  const bool start = effect == ControlAnswer::Effect::StartStream;
  MutexLock lock(mutex);
  const bool stopped = !start && current != 0;
  current = start ? ++starts : 0;
  condition.notify_all();
  if (!stopped) return;
  const auto until = Clock::now() + duration(camera.slowStopSeconds());
  while (!ended && condition.wait_until(lock.native(), until) != std::cv_status::timeout) {
  }
}

bool CameraServer::serveStream(const HostMessage& message) {
  MutexLock lock(mutex);
  if (!message.in || message.endpoint != kStreamEndpointNumber)
    return send(submitReply(message.sequence, -EPIPE, 0), {});
  waiting.push_back({message.sequence, message.length});
  condition.notify_all();
  return true;
}

bool CameraServer::serveUnlink(const HostMessage& message) {
  MutexLock lock(mutex);
  const auto found = std::find_if(waiting.begin(), waiting.end(), [&](const Transfer& candidate) {
    return candidate.sequence == message.unlinked;
  });
  const bool waited = found != waiting.end();
  if (waited) waiting.erase(found);
  return send(unlinkReply(message.sequence, waited), {});
}

void CameraServer::streamThreadProc() {
  camera.prepare();  // here, because the host waits for answers meanwhile
  while (waitForStream()) {
    nextDue = Clock::now() + duration(camera.periodSeconds());
    while (waitForTurn()) sendNextFrame();
  }
}

bool CameraServer::waitForStream() {
  MutexLock lock(mutex);
  while (!ended && current == 0) condition.wait(lock.native());
  served = current;
  return !ended;
}

/// Waits until the next frame is due; false when this stream has ended.
bool CameraServer::waitForTurn() {
  MutexLock lock(mutex);
  while (stepped && streaming() && steps == 0) condition.wait(lock.native());
  if (stepped && streaming()) {
    --steps;
    return true;
  }
  while (streaming()) {
    const auto now = Clock::now();
    const auto due = nextDue + duration(camera.jitterSeconds(camera.framesPassed()));
    if (now >= due) return true;
    condition.wait_until(lock.native(), std::min(due, now + kSlice));
  }
  return false;
}

/// A host that is slower than the camera loses frames, once the camera's buffers are full.
void CameraServer::dropLateFrames(Clock::time_point now) {
  const double period = camera.periodSeconds();
  const auto held = duration(period * camera.description().buffers);
  while (now - nextDue > held) {
    nextDue += duration(period);
    camera.skip();
  }
}

void CameraServer::sendNextFrame() {
  if (!stepped) dropLateFrames(Clock::now());
  frame.resize(camera.largestSampleBytes());
  const auto produced = camera.produce(frame);
  nextDue += duration(camera.periodSeconds());
  const std::span<const std::uint8_t> bytes(frame);
  switch (produced.outcome) {
    case simulation::Outcome::Sample:
      return sendFrame(bytes.first(produced.sizeBytes), false);
    case simulation::Outcome::Failure:
      std::fill(frame.begin(), frame.end(), std::uint8_t{0});
      return sendFrame(bytes.first(camera.sampleBytes()), true);
    case simulation::Outcome::Lost:
      return stop();
    case simulation::Outcome::Missing:
    case simulation::Outcome::Silence:
      return;
  }
}

void CameraServer::sendFrame(std::span<const std::uint8_t> bytes, bool broken) {
  cutter.begin(bytes, broken);
  while (!cutter.done()) {
    MutexLock lock(mutex);
    while (streaming() && waiting.empty()) condition.wait(lock.native());
    if (!streaming()) return;
    const auto next = waiting.front();
    waiting.pop_front();
    transfer.resize(next.length);
    const std::size_t actual = cutter.fill(transfer);
    if (!send(submitReply(next.sequence, 0, actual), std::span<const std::uint8_t>(transfer).first(actual))) {
      ended = true;
    }
  }
}

}  // namespace virtualcamera
