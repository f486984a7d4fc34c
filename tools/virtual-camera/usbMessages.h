#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "tools/virtual-camera/wireBytes.h"

// The messages that the kernel's virtual host controller exchanges with a device: a header of 48 bytes, all
// numbers big-endian, and the bytes that go with it.
namespace virtualcamera {

inline constexpr std::size_t kHeaderBytes = 48;

/// The eight bytes that begin a control transfer.
struct SetupPacket {
  std::uint8_t requestType = 0;
  std::uint8_t request = 0;
  std::uint16_t value = 0;
  std::uint16_t index = 0;
  std::uint16_t length = 0;
  friend bool operator==(const SetupPacket&, const SetupPacket&) = default;
};

/// What the host asks for.
struct HostMessage {
  enum class Kind { Submit, Unlink };
  Kind kind = Kind::Submit;
  std::uint32_t sequence = 0;
  bool in = false;  ///< from the device to the host
  std::uint32_t endpoint = 0;
  std::uint32_t length = 0;  ///< bytes wanted, or bytes that follow the header
  SetupPacket setup;
  std::uint32_t unlinked = 0;  ///< sequence of the transfer that is called off

  /// Bytes that follow the header.
  std::size_t payloadBytes() const { return kind == Kind::Submit && !in ? length : 0; }
};

/// False when the header is no message of ours, or larger than any transfer may be: the connection is void.
bool parseMessage(std::span<const std::uint8_t, kHeaderBytes> header, HostMessage& message);

/// The answer to a transfer. status: 0, or a negative errno, -EPIPE being a stall.
/// actual: bytes that were taken, or that follow the header.
std::array<std::uint8_t, kHeaderBytes> submitReply(std::uint32_t sequence, std::int32_t status,
                                                   std::size_t actual);

/// The answer to calling a transfer off: whether it was still waiting.
std::array<std::uint8_t, kHeaderBytes> unlinkReply(std::uint32_t sequence, bool waited);

}  // namespace virtualcamera
