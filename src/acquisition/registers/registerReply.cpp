#include "acquisition/registers/registerReply.h"

#include <algorithm>

#include "acquisition/registers/traceColours.h"

namespace registers {
namespace {

constexpr std::size_t kValuePosition = 9;
constexpr std::size_t kValueDigits = 4;

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isPrintable(char c) { return c >= ' ' && c <= '~'; }

std::string_view asText(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

std::uint16_t leadingHex(std::string_view text) {
  unsigned value = 0;
  for (const char c : text.substr(0, kValueDigits)) {
    const int digit = hexDigit(c);
    if (digit < 0) break;
    value = value * 16 + static_cast<unsigned>(digit);
  }
  return static_cast<std::uint16_t>(value);
}

std::uint16_t replyValue(std::span<const std::uint8_t> reply) {
  if (reply.size() <= kValuePosition) return 0;
  return leadingHex(asText(reply).substr(kValuePosition, kValueDigits));
}

std::string printableReply(std::span<const std::uint8_t> reply) {
  std::string_view text = asText(reply);
  text = text.substr(0, text.find('\0'));
  std::string shown;
  while (!text.empty()) {
    const std::string_view pair = text.substr(0, 2);
    if (pair == "\r\n" || pair == "\n\r") {
      shown.append(pair == "\r\n" ? kDarkGrey : kRed).append(pair == "\r\n" ? "<CRLF>" : "<LFCR>");
      shown.append(kTraceColour);
      text.remove_prefix(2);
      continue;
    }
    shown += isPrintable(text.front()) ? text.front() : '.';
    text.remove_prefix(1);
  }
  return shown;
}

std::string flashText(std::span<const std::uint8_t> block) {
  std::string_view text = asText(block);
  const auto end =
      std::find_if(block.begin(), block.end(), [](std::uint8_t b) { return b == 0 || b == 0xFF; });
  text = text.substr(0, static_cast<std::size_t>(end - block.begin()));
  if (!std::all_of(text.begin(), text.end(), isPrintable)) return {};
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

bool isErased(std::span<const std::uint8_t> block) {
  return std::all_of(block.begin(), block.end(), [](std::uint8_t b) { return b == 0xFF; });
}

}  // namespace registers
