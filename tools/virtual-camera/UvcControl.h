#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "acquisition/backends/simulated/SimulatedCamera.h"
#include "tools/virtual-camera/descriptors.h"
#include "tools/virtual-camera/usbMessages.h"

namespace virtualcamera {

/// What a control transfer comes to.
struct ControlAnswer {
  enum class Effect { None, StartStream, StopStream };
  std::int32_t status = 0;  ///< negative: -EPIPE is a stall, -ENODEV an unplugged camera
  Bytes bytes;              ///< for a transfer to the host, at most what it asked for
  Effect effect = Effect::None;
};

/// The control endpoint of a UVC camera: standard requests, the negotiation of the stream, and the extension
/// unit, behind which the simulated camera's registers lie. Does no input or output. One thread at a time.
class UvcControl {
 public:
  /// The camera must outlive this.
  explicit UvcControl(simulation::SimulatedCamera& camera);

  /// data: the bytes that came with the request.
  ControlAnswer answer(const SetupPacket& setup, std::span<const std::uint8_t> data);

  const Descriptors& descriptors() const { return tables; }

 private:
  static constexpr std::size_t kNegotiationBytes = 34;
  using Negotiation = std::array<std::uint8_t, kNegotiationBytes>;

  ControlAnswer standardRequest(const SetupPacket& setup);
  ControlAnswer descriptor(const SetupPacket& setup) const;
  ControlAnswer streamRequest(const SetupPacket& setup, std::span<const std::uint8_t> data);
  ControlAnswer commit(std::span<const std::uint8_t> data);
  ControlAnswer unitRequest(const SetupPacket& setup, std::span<const std::uint8_t> data);
  ControlAnswer errorCode(const SetupPacket& setup);
  Negotiation negotiate(std::span<const std::uint8_t> wanted) const;
  ControlAnswer stall(std::uint8_t reason);

  simulation::SimulatedCamera& camera;
  const std::vector<transport::StreamType> types;
  const double rateHz;
  const Descriptors tables;
  Negotiation probed{};
  Negotiation committed{};
  std::uint8_t configured = 0;
  std::uint8_t lastError = 0;  ///< why the control interface stalled last, as UVC numbers it
};

}  // namespace virtualcamera
