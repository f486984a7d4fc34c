#pragma once

#include <algorithm>
#include <span>

#include "acquisition/registers/CameraRegisters.h"
#include "acquisition/registers/registerLink.h"
#include "acquisition/transport/transportError.h"
#include "fuzzing.h"

namespace fuzzing {

/// A camera that answers with the bytes of the input, 0xFF behind their end, and dies after some transfers.
class ScriptedLink : public RegisterLink {
 public:
  ScriptedLink(std::int32_t product, int transfersToLive, std::span<const std::uint8_t> answers)
      : productNumber(product), left(transfersToLive), script(answers) {}

  void transferUnit(std::uint32_t, transport::TransferFlags flags, std::span<std::uint8_t> bytes) override {
    if (left-- <= 0) throw transport::TransportError("gone");
    if (flags != transport::kTransferGet) return;
    const std::size_t count = std::min(bytes.size(), script.size());
    std::fill(std::copy_n(script.begin(), count, bytes.begin()), bytes.end(), std::uint8_t{0xFF});
    script = script.subspan(count);
  }
  std::int32_t vendorId() const override { return 0x5c2b; }
  std::int32_t productId() const override { return productNumber; }

 private:
  std::int32_t productNumber;
  int left;
  std::span<const std::uint8_t> script;
};

}  // namespace fuzzing
