#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/cameraModel.h"
#include "acquisition/transport/videoPlatform.h"
#include "tools/virtual-camera/wireBytes.h"

namespace virtualcamera {

inline constexpr std::uint8_t kControlInterface = 0;
inline constexpr std::uint8_t kStreamingInterface = 1;
inline constexpr std::uint8_t kStreamEndpoint = 0x81;
inline constexpr std::uint8_t kCameraUnitId = 2;
inline constexpr std::uint8_t kConfigurationValue = 1;
/// The extension unit's controls are 1 to this; control s moves 2^(s-1) bytes.
inline constexpr std::uint8_t kLastControl = 16;
inline constexpr std::uint32_t kClockHz = 48'000'000;

/// Everything a camera tells about itself when it is plugged in.
struct Descriptors {
  Bytes device;
  Bytes configuration;       ///< with all interfaces, endpoints and what a UVC camera adds
  std::vector<Bytes> texts;  ///< by index: languages, maker, product, serial number
};

/// The descriptors of a UVC 1.1 camera on a high-speed bus: one extension unit and one bulk endpoint. Each
/// of `types` becomes a format with a single frame size, numbered from 1 in their order.
/// rateHz: above 0.
Descriptors buildDescriptors(const simulation::CameraModel& model, std::uint32_t serialNumber,
                             std::span<const transport::StreamType> types, double rateHz);

/// The frame interval as UVC counts it, in units of 100 ns, rounded down.
std::uint32_t frameInterval(double rateHz);

/// Bytes of a frame of this type.
std::uint32_t frameBytes(const transport::StreamType& type);

}  // namespace virtualcamera
