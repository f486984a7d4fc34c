#pragma once

#include <cstdint>
#include <span>

namespace registers {

enum class ParameterKind : std::uint8_t { text, number, array };

/// One entry of the parameter block in the camera's flash.
struct Parameter {
  ParameterKind kind;
  const char* name;
  std::uint32_t address;
  std::uint32_t sizeBytes;
};

inline constexpr Parameter kPartNumber = {ParameterKind::text, "Part number", 0x40000, 32};
inline constexpr Parameter kSerialNumber = {ParameterKind::text, "Serial number", 0x40020, 16};

/// Texts and 16-bit numbers (low byte first), in the order in which they are shown.
std::span<const Parameter> parameterValues();
/// Calibration arrays; the sizes are those of the 640 x 480 camera.
std::span<const Parameter> parameterArrays();

}  // namespace registers
