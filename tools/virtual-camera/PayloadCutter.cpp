#include "tools/virtual-camera/PayloadCutter.h"

#include <algorithm>

namespace virtualcamera {
namespace {

enum : std::uint8_t { kFrameBit = 0x01, kEndOfFrame = 0x02, kBroken = 0x40, kEndOfHeader = 0x80 };

}  // namespace

void PayloadCutter::begin(std::span<const std::uint8_t> frame, bool isBroken) {
  rest = frame;
  inPayload = 0;
  open = true;
  broken = isBroken;
  frameBit = !frameBit;
}

std::size_t PayloadCutter::putHeader(std::span<std::uint8_t> transfer) {
  const bool last = rest.size() <= kPayloadBytes - kHeaderBytes;
  transfer[0] = kHeaderBytes;
  transfer[1] = static_cast<std::uint8_t>(kEndOfHeader | (frameBit ? kFrameBit : 0) |
                                          (last ? kEndOfFrame : 0) | (broken ? kBroken : 0));
  return kHeaderBytes;
}

std::size_t PayloadCutter::fill(std::span<std::uint8_t> transfer) {
  if (!open || (inPayload == 0 && transfer.size() < kHeaderBytes)) return 0;
  std::size_t used = inPayload == 0 ? putHeader(transfer) : 0;
  const std::size_t room = std::min(transfer.size() - used, kPayloadBytes - inPayload - used);
  const std::size_t taken = std::min(room, rest.size());
  std::copy_n(rest.begin(), taken, transfer.begin() + static_cast<std::ptrdiff_t>(used));
  rest = rest.subspan(taken);
  used += taken;
  inPayload += used;
  // A payload that ends with a full transfer, short of its full size, needs an empty one behind it.
  const bool ended = inPayload == kPayloadBytes || used < transfer.size();
  if (!ended) return used;
  inPayload = 0;
  open = !rest.empty();
  return used;
}

}  // namespace virtualcamera
