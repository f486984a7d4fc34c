// The extension-unit side of a simulated camera.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>

#include "acquisition/backends/simulated/SimulatedCamera.h"

namespace simulation {
namespace {

constexpr std::uint32_t kCommandSelector = 5, kLargestSelector = 16;
constexpr std::size_t kLogLength = 16384;
constexpr std::string_view kGarbage = "\x7F\x11~ ???? !! zz~";

std::string textOf(std::span<const std::uint8_t> bytes) {
  return {bytes.begin(), std::find(bytes.begin(), bytes.end(), std::uint8_t{0})};
}

}  // namespace

/// What the kernel checks before a camera hears of a transfer, then the faults that hit any transfer.
std::int32_t SimulatedCamera::admitTransfer(std::uint32_t selector, std::size_t sizeBytes) {
  MutexLock lock(controlMutex);
  if (unpluggedLocked()) return transport::kStatusDeviceLost;
  if (selector < 1 || selector > kLargestSelector) return -ENOENT;
  if (sizeBytes != std::size_t{1} << (selector - 1)) return -ENOBUFS;
  if (FaultState::take(faults.slowRegisterCalls)) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::duration<double, std::milli>(faults.slowRegisterMs);
    while (!faults.unplugged &&
           controlCondition.wait_until(lock.native(), std::chrono::time_point_cast<std::chrono::nanoseconds>(
                                                          end)) != std::cv_status::timeout) {
    }
    if (faults.unplugged) return transport::kStatusDeviceLost;
  }
  if (faults.registerCountdown > 0 && --faults.registerCountdown == 0) return faults.registerError;
  return 0;
}

std::int32_t SimulatedCamera::controlSet(std::uint32_t selector, std::span<const std::uint8_t> bytes) {
  std::int32_t status = admitTransfer(selector, bytes.size());
  MutexLock lock(controlMutex);
  if (status == 0 && selector != kCommandSelector) status = -EPERM;
  if (status == 0) {
    earlierReply = registers.lastAnswer();
    const bool closed = registers.shutterClosed();
    registers.command(bytes);
    if (faults.stuckShutter) registers.moveShutter(closed);
  }
  record(true, selector, status, bytes, true);
  return status;
}

std::int32_t SimulatedCamera::controlGet(std::uint32_t selector, std::span<std::uint8_t> bytes) {
  std::int32_t status = admitTransfer(selector, bytes.size());
  MutexLock lock(controlMutex);
  const bool flash = status == 0 && registers.flashReady();
  if (flash) {
    registers.readFlash(bytes);
  } else if (status == 0 && selector == kCommandSelector) {
    auto reply = registers.reply();
    distortReply(reply);
    std::copy(reply.begin(), reply.end(), bytes.begin());
  } else if (status == 0) {
    status = -EPIPE;  // the camera has nothing of that length to say
  }
  record(false, selector, status, bytes, !flash);
  return status;
}

void SimulatedCamera::distortReply(CommandBytes& bytes) {
  if (FaultState::take(faults.staleReplies)) bytes = earlierReply;
  if (FaultState::take(faults.emptyReplies)) bytes = {};
  if (FaultState::take(faults.garbageReplies)) std::copy_n(kGarbage.begin(), kCommandBytes, bytes.begin());
  if (FaultState::take(faults.lowerCaseReplies)) {
    for (auto& byte : bytes) {
      if (byte >= 'A' && byte <= 'Z') byte = static_cast<std::uint8_t>(byte - 'A' + 'a');
    }
  }
}

void SimulatedCamera::record(bool set, std::uint32_t selector, std::int32_t status,
                             std::span<const std::uint8_t> bytes, bool text) {
  if (log.size() == kLogLength) log.pop_front();
  auto& entry = log.emplace_back();
  entry.steadyNs = std::chrono::duration_cast<std::chrono::nanoseconds>(
                       std::chrono::steady_clock::now().time_since_epoch())
                       .count();
  entry.thread = std::this_thread::get_id();
  entry.set = set;
  entry.selector = selector;
  entry.status = status;
  entry.sizeBytes = bytes.size();
  if (text && (set || status == 0)) entry.text = textOf(bytes);
}

std::vector<TransferRecord> SimulatedCamera::transfers() const {
  MutexLock lock(controlMutex);
  return {log.begin(), log.end()};
}

}  // namespace simulation
