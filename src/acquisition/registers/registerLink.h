#pragma once

#include <cstdint>
#include <span>

#include "acquisition/transport/videoPlatform.h"

/// What the register protocol needs of a connection.
class RegisterLink {
 public:
  /// One transfer with the camera's extension unit: reads into or writes from `bytes`, all of them. May block
  /// for up to 5 s. Throws transport::TransportError when it fails, after logging why.
  virtual void transferUnit(std::uint32_t selector, transport::TransferFlags flags,
                            std::span<std::uint8_t> bytes) = 0;
  virtual std::int32_t vendorId() const = 0;
  virtual std::int32_t productId() const = 0;

 protected:
  ~RegisterLink() = default;
};
