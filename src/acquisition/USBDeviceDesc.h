#pragma once

#include <array>
#include <cstdint>
#include <string>

/// What kind of pixels a camera delivers.
enum dataTypeEnum : std::int32_t { dataTypeThermal = 1, dataTypeVisible = 11 };

/// How a camera is reached.
enum linkTypeEnum : std::int32_t { linkTypeNone = 0, linkTypeCore = 2, linkTypeUVC = 5 };

/// One row of the device table; also what the transport answers about a found camera.
struct USBDeviceDesc {
  std::uint32_t vid = 0;
  std::uint32_t pid = 0;
  std::string path;         ///< "/dev/bus/usb" in every table row
  std::string matchString;  ///< compared during lookup; empty except for "Velt Core"
  std::string auxString;    ///< copied, never compared
  std::array<std::uint32_t, 3> linkNumbers{};
  std::string modelName;  ///< "Bramble 6": the display name
  std::string sensor;     ///< "Velt640D": selects the temperature worker and the calibration files
  float frameRate = 0.0f;
  std::uint16_t width = 0;  ///< delivered image size, pixels
  std::uint16_t height = 0;
  std::int32_t dataType = 0;
  std::int32_t linkType = linkTypeNone;
  bool tableFlag = false;

  friend bool operator==(const USBDeviceDesc&, const USBDeviceDesc&) = default;
};
