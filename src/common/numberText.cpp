#include "common/numberText.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view skipBlanks(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

/// Removes a leading sign; true when it was a minus.
bool takeSign(std::string_view& text) {
  if (text.empty() || (text[0] != '-' && text[0] != '+')) return false;
  const bool negative = text[0] == '-';
  text.remove_prefix(1);
  return negative;
}

/// Tells an overflow from an underflow: true when the first digit other than 0 of `number`, a number beyond
/// float's range, stands before the point once the exponent has moved it. Its point cannot matter: such a
/// number is more than 30 places away from it.
bool isHuge(std::string_view number, std::string_view exponentMarks) {
  const std::size_t mark = std::min(number.find_first_of(exponentMarks), number.size());
  const std::string_view mantissa = number.substr(0, mark);
  const std::size_t point = std::min(mantissa.find('.'), mark);
  const std::size_t leading = std::min(mantissa.find_first_not_of("0."), mark);
  std::string_view digits = number.substr(std::min(mark + 1, number.size()));
  const bool negative = takeSign(digits);
  std::int64_t exponent = 0;
  for (std::size_t i = 0; i < digits.size() && isDigit(digits[i]); ++i)
    exponent = std::min<std::int64_t>(exponent * 10 + (digits[i] - '0'), std::numeric_limits<int>::max());
  const std::int64_t perDigit = exponentMarks.front() == 'p' ? 4 : 1;  // exponents of hexadecimals count bits
  return (static_cast<std::int64_t>(point) - static_cast<std::int64_t>(leading)) * perDigit +
             (negative ? -exponent : exponent) >
         0;
}

}  // namespace

std::optional<std::uint32_t> readUnsigned32(std::string_view text) {
  text = skipBlanks(text);
  const bool negative = takeSign(text);
  std::uint64_t value = 0;
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (status == std::errc::invalid_argument) return std::nullopt;
  if (status == std::errc::result_out_of_range) return std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(negative ? 0 - value : value);
}

std::optional<float> readFloat(std::string_view text) { return takeFloat(text); }

std::optional<float> takeFloat(std::string_view& rest) {
  std::string_view text = skipBlanks(rest);
  const bool negative = takeSign(text);
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  if (text.starts_with('-')) return std::nullopt;                           // from_chars takes a sign itself,
  if (hexadecimal && text.find_first_of("iInN") == 0) return std::nullopt;  // and "inf" after "0x"

  float value = 0.0f;
  const auto [end, status] =
      std::from_chars(text.data(), text.data() + text.size(), value,
                      hexadecimal ? std::chars_format::hex : std::chars_format::general);
  if (status == std::errc::invalid_argument) return std::nullopt;
  const std::size_t length = static_cast<std::size_t>(end - text.data());
  if (status == std::errc::result_out_of_range) {
    value = isHuge(text.substr(0, length), hexadecimal ? "pP" : "eE") ? std::numeric_limits<float>::infinity()
                                                                      : 0.0f;
  }
  rest = text.substr(length);
  return negative ? -value : value;
}

std::optional<std::uint16_t> takeUnsigned16(std::string_view& rest) {
  const std::string_view text = skipBlanks(rest);
  std::uint16_t value = 0;
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (status != std::errc()) return std::nullopt;
  const std::string_view behind = text.substr(static_cast<std::size_t>(end - text.data()));
  if (!behind.empty() && kBlanks.find(behind.front()) == std::string_view::npos) return std::nullopt;
  rest = behind;
  return value;
}

std::uint32_t readHexDigits(std::string_view text) {
  std::uint32_t value = 0;
  for (const char c : text) {
    const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    const bool letter = lower >= 'a' && lower <= 'f';
    if (!letter && !isDigit(c)) break;
    value = value << 4 | static_cast<std::uint32_t>(letter ? lower - 'a' + 10 : c - '0');
  }
  return value;
}
