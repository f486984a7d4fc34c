#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// Readers of numbers at the start of a text, independent of the host's locale. Text after the number is
// ignored. They accept what the scanf formats named here accept, leading blanks and signs included.

/// "%lu", of which the low 32 bits are kept: "-1" gives 0xFFFFFFFF, "4294967297" gives 1. Values beyond
/// 64 bits count as 2^64 - 1. Nothing when no digit comes first.
std::optional<std::uint32_t> readUnsigned32(std::string_view text);

/// "%f": decimal, hexadecimal ("0x1p3"), "inf" and "nan" in any case; out of range gives an infinity or 0
/// with the sign. Nothing when no number comes first.
std::optional<float> readFloat(std::string_view text);

/// The hexadecimal digits the text begins with (no blank, sign or "0x"), of which the low 32 bits are kept;
/// 0 when there is none.
std::uint32_t readHexDigits(std::string_view text);
