#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace virtualcamera {

/// Cuts a frame into the payloads of a UVC bulk stream, transfer by transfer. A payload is a header of two
/// bytes and up to `kPayloadBytes` - 2 of the frame; the host sees its end by its size or by a transfer that
/// is not full. The header sits in the payload's first transfer alone. One thread at a time.
class PayloadCutter {
 public:
  static constexpr std::size_t kPayloadBytes = 16384;
  static constexpr std::size_t kHeaderBytes = 2;

  /// Begins a frame; the bytes are borrowed until it is done. broken: the host is told to mistrust it.
  /// A frame without bytes is one payload of nothing but its header.
  void begin(std::span<const std::uint8_t> frame, bool broken);
  bool done() const { return !open; }
  /// Fills the next transfer; the bytes that it carries, which may be none.
  std::size_t fill(std::span<std::uint8_t> transfer);

 private:
  std::size_t putHeader(std::span<std::uint8_t> transfer);

  std::span<const std::uint8_t> rest;
  std::size_t inPayload = 0;  ///< bytes of the payload so far, 0 = none begun
  bool open = false;
  bool broken = false;
  bool frameBit = true;  ///< changes with each frame
};

}  // namespace virtualcamera
