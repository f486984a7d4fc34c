#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace virtualcamera {

using Bytes = std::vector<std::uint8_t>;

// Numbers as USB descriptors hold them, least significant byte first.
inline void put8(Bytes& to, std::uint32_t value) { to.push_back(static_cast<std::uint8_t>(value & 0xFF)); }
inline void put16(Bytes& to, std::uint32_t value) {
  put8(to, value);
  put8(to, value >> 8);
}
inline void put32(Bytes& to, std::uint32_t value) {
  put16(to, value);
  put16(to, value >> 16);
}
inline void putBytes(Bytes& to, std::initializer_list<std::uint8_t> bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}
inline void append(Bytes& to, const Bytes& more) { to.insert(to.end(), more.begin(), more.end()); }

}  // namespace virtualcamera
