#include "tools/virtual-camera/PluggedCamera.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "common/format.h"
#include "tools/virtual-camera/hostPort.h"

namespace virtualcamera {
namespace {

constexpr auto kSlice = std::chrono::milliseconds(20);
constexpr auto kPortPatience = std::chrono::seconds(5);  // the host takes its time to free a port

}  // namespace

PluggedCamera::PluggedCamera(const simulation::CameraSpec& spec, std::string attachRoot,
                             std::optional<unsigned> port, Report reporting)
    : camera(spec), root(std::move(attachRoot)), wantedPort(port), report(std::move(reporting)) {}

std::string PluggedCamera::plugIn() {
  int ends[2] = {-1, -1};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    return "no socket: " + std::generic_category().message(errno);
  // Ready before the host knows of it: its first question follows at once.
  auto fresh = std::make_shared<CameraServer>(camera, ends[0]);
  auto port = wantedPort;
  auto reason = attachDevice(root, ends[1], port);
  close(ends[1]);
  if (!reason.empty()) return reason;
  report(format("{:s} {:d}: plugged in at port {:d}", camera.model().name, camera.description().serialNumber,
                *port));
  MutexLock lock(mutex);
  server = std::move(fresh);
  return {};
}

bool PluggedCamera::run() {
  for (;;) {
    std::shared_ptr<CameraServer> present;
    {
      MutexLock lock(mutex);
      if (stopping) return true;
      present = server;
    }
    present->run();
    {
      MutexLock lock(mutex);
      server.reset();
      if (stopping) return true;
    }
    const bool unplugged = camera.unplugged();
    report(format("{:s} {:d}: {:s}", camera.model().name, camera.description().serialNumber,
                  unplugged ? "unplugged" : "detached by the host"));
    if (!unplugged || !waitForReplug()) return true;
    const auto reason = plugInAgain();
    if (reason.empty()) continue;
    report(format("{:s} {:d}: {:s}", camera.model().name, camera.description().serialNumber, reason));
    return false;
  }
}

std::string PluggedCamera::plugInAgain() {
  const auto deadline = std::chrono::steady_clock::now() + kPortPatience;
  for (;;) {
    auto reason = plugIn();
    if (reason.empty() || std::chrono::steady_clock::now() > deadline) return reason;
    MutexLock lock(mutex);
    if (stopping) return reason;
    condition.wait_for(lock.native(), kSlice);
  }
}

/// False when there will be none because of `stop`.
bool PluggedCamera::waitForReplug() {
  MutexLock lock(mutex);
  while (!stopping && camera.unplugged()) condition.wait_for(lock.native(), kSlice);
  return !stopping;
}

void PluggedCamera::stop() {
  MutexLock lock(mutex);
  stopping = true;
  if (server) server->stop();
  condition.notify_all();
}

void PluggedCamera::step() {
  MutexLock lock(mutex);
  if (server) server->step();
}

std::vector<std::string> PluggedCamera::transferLines() const {
  std::vector<std::string> lines;
  for (const auto& transfer : camera.transfers()) {
    const std::string what = transfer.set ? "SET" : "GET";
    const std::string bytes = transfer.set ? transfer.text : format("{:d}", transfer.sizeBytes);
    const std::string failure = transfer.status < 0 ? format(" (error {:d})", -transfer.status) : "";
    lines.push_back(format("{:s} {:d} {:s}{:s}", what, transfer.selector, bytes, failure));
  }
  return lines;
}

}  // namespace virtualcamera
