#include "tools/virtual-camera/usbMessages.h"

#include <cerrno>

namespace virtualcamera {
namespace {

enum : std::uint32_t { kSubmit = 1, kUnlink = 2, kSubmitReply = 3, kUnlinkReply = 4 };

// Twice the largest transfer that the camera's controls and payloads give rise to, and some.
constexpr std::uint32_t kLargestTransfer = 1U << 20;
constexpr std::uint32_t kLastEndpoint = 15;

std::uint32_t word(std::span<const std::uint8_t> header, std::size_t index) {
  const auto at = header.subspan(4 * index, 4);
  return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | at[3];
}

void putWord(std::span<std::uint8_t> header, std::size_t index, std::uint32_t value) {
  const auto at = header.subspan(4 * index, 4);
  for (std::size_t i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i) & 0xFF);
}

// Setup packets are the USB bus's own bytes, which makes them little-endian in a big-endian header.
std::uint16_t little16(std::span<const std::uint8_t> at) {
  return static_cast<std::uint16_t>(at[0] | at[1] << 8);
}

}  // namespace

bool parseMessage(std::span<const std::uint8_t, kHeaderBytes> header, HostMessage& message) {
  message = {};
  const std::uint32_t command = word(header, 0);
  if (command != kSubmit && command != kUnlink) return false;
  message.sequence = word(header, 1);
  message.in = word(header, 3) == 1;
  message.endpoint = word(header, 4);
  if (command == kUnlink) {
    message.kind = HostMessage::Kind::Unlink;
    message.unlinked = word(header, 5);
    return true;
  }
  message.length = word(header, 6);
  const auto setup = header.subspan(40, 8);
  message.setup = {setup[0], setup[1], little16(setup.subspan(2)), little16(setup.subspan(4)),
                   little16(setup.subspan(6))};
  return message.length <= kLargestTransfer && message.endpoint <= kLastEndpoint;
}

std::array<std::uint8_t, kHeaderBytes> submitReply(std::uint32_t sequence, std::int32_t status,
                                                   std::size_t actual) {
  std::array<std::uint8_t, kHeaderBytes> header{};
  putWord(header, 0, kSubmitReply);
  putWord(header, 1, sequence);
  putWord(header, 5, static_cast<std::uint32_t>(status));
  putWord(header, 6, static_cast<std::uint32_t>(actual));
  return header;
}

std::array<std::uint8_t, kHeaderBytes> unlinkReply(std::uint32_t sequence, bool waited) {
  std::array<std::uint8_t, kHeaderBytes> header{};
  putWord(header, 0, kUnlinkReply);
  putWord(header, 1, sequence);
  putWord(header, 5, static_cast<std::uint32_t>(waited ? -ECONNRESET : 0));
  return header;
}

}  // namespace virtualcamera
