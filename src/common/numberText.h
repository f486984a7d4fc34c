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

/// `readFloat` that removes what it read, leading blanks included; nothing is removed without a number.
std::optional<float> takeFloat(std::string_view& rest);

/// Removes a decimal number 0 to 65535 with the blanks before it. Stricter than "%hu": nothing, and nothing
/// removed, for a sign, a larger number, or a number that no blank or end of text follows.
std::optional<std::uint16_t> takeUnsigned16(std::string_view& rest);

/// The hexadecimal digits the text begins with (no blank, sign or "0x"), of which the low 32 bits are kept;
/// 0 when there is none.
std::uint32_t readHexDigits(std::string_view text);
