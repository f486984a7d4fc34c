#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "acquisition/USBDeviceDesc.h"

class UVCConnection;

/// What is known about a camera once it is bound, and what its acquisition side publishes while it streams.
/// Fields without `std::atomic` are written before the camera becomes visible to other threads.
struct deviceInfo {
  deviceInfo();
  ~deviceInfo();

  std::unique_ptr<UVCConnection> connection;  ///< null for link type 2 and before connecting
  /// Integration, GFID, GSK, image gain; all zero until read.
  std::array<std::uint16_t, 4> sensorRegisters{};
  std::string modelName;
  std::string sensor;
  float frameRate = 0.0f;    ///< frames per second
  std::uint16_t width = 0;   ///< pixels
  std::uint16_t height = 0;  ///< pixels
  std::int32_t dataType = 0;
  std::int32_t linkType = linkTypeNone;
  std::uint64_t serialNumber = 0;  ///< 0 until read
  std::string deviceString;
  std::string partNumber;  ///< from the camera's flash, "" when it holds none
  std::string serialText;  ///< from the camera's flash, else the serial number in decimal, "" when 0

  /// A consumer waits for both a new frame and a new temperature. Written by `Ombrix::setFreeRun` only.
  std::atomic<bool> needsTemperatureFrame{false};
  std::atomic<float> sensorTemperatureK{0.0f};  ///< written by the temperature worker
  /// False while `sensorTemperatureK` is none of the sensor's: one family publishes 0 °C until its first
  /// frame.
  std::atomic<bool> temperatureMeasured{false};
  std::atomic<float> temperatureRate{0.0f};  ///< kelvin per second; written by the temperature worker
  std::atomic<bool> temperatureFiltering{false};
};
