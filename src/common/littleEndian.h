#pragma once

#include <bit>
#include <cstdint>

// Numbers as files hold them, least significant byte first, on any host. Compilers turn each into one access.

inline std::uint16_t loadLittle16(const std::uint8_t* from) {
  return static_cast<std::uint16_t>(from[0] | from[1] << 8);
}

inline std::uint32_t loadLittle32(const std::uint8_t* from) {
  return std::uint32_t{from[0]} | std::uint32_t{from[1]} << 8 | std::uint32_t{from[2]} << 16 |
         std::uint32_t{from[3]} << 24;
}

inline float loadLittleFloat(const std::uint8_t* from) { return std::bit_cast<float>(loadLittle32(from)); }

inline void storeLittle16(std::uint8_t* to, std::uint16_t value) {
  to[0] = static_cast<std::uint8_t>(value & 0xFF);
  to[1] = static_cast<std::uint8_t>(value >> 8);
}

inline void storeLittle32(std::uint8_t* to, std::uint32_t value) {
  to[0] = static_cast<std::uint8_t>(value & 0xFF);
  to[1] = static_cast<std::uint8_t>(value >> 8 & 0xFF);
  to[2] = static_cast<std::uint8_t>(value >> 16 & 0xFF);
  to[3] = static_cast<std::uint8_t>(value >> 24);
}

inline void storeLittleFloat(std::uint8_t* to, float value) {
  storeLittle32(to, std::bit_cast<std::uint32_t>(value));
}
