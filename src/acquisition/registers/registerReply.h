#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace registers {

/// Commands and replies travel in blocks of this many bytes, zero-filled behind the text.
inline constexpr std::size_t kBlockBytes = 16;

/// Value of the leading hexadecimal digits of `text`, of either case; none gives 0. Four digits at most
/// count.
std::uint16_t leadingHex(std::string_view text);

/// Value that a reply carries at positions 9 to 12; a shorter or garbled reply gives 0.
std::uint16_t replyValue(std::span<const std::uint8_t> reply);

/// Reply text for a trace: up to the first NUL, line ends made visible, other control bytes shown as '.'.
std::string printableReply(std::span<const std::uint8_t> reply);

/// A text from the camera's flash: cut at the first NUL or 0xFF, blanks trimmed. Anything unprintable in it
/// makes it empty.
std::string flashText(std::span<const std::uint8_t> block);

/// True when every byte is 0xFF, as in flash that was never written.
bool isErased(std::span<const std::uint8_t> block);

}  // namespace registers
