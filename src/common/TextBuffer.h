#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <string_view>

/// A short text put together without allocating and without a look at the locale. What does not fit is cut.
template <std::size_t n>
class TextBuffer {
 public:
  TextBuffer& operator<<(std::string_view part) {
    const std::size_t count = std::min(part.size(), n - length);
    std::copy_n(part.begin(), count, characters.begin() + length);
    length += count;
    characters[length] = '\0';
    return *this;
  }
  TextBuffer& operator<<(char character) { return *this << std::string_view(&character, 1); }
  template <std::integral Integer>
  requires(!std::same_as<Integer, char>) TextBuffer& operator<<(Integer value) { return convert(value); }
  /// As "%.<decimals>f" prints it in the C locale.
  TextBuffer& fixed(float value, int decimals) {
    return convert(static_cast<double>(value), std::chars_format::fixed, decimals);
  }

  /// Ends with a zero.
  const char* text() const { return characters.data(); }
  std::string_view view() const { return {characters.data(), length}; }

 private:
  template <typename... Arguments>
  TextBuffer& convert(Arguments... arguments) {
    std::array<char, 64> digits;  // enough for every float: 40 digits before the point
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), arguments...).ptr;
    return *this << std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data()));
  }

  std::array<char, n + 1> characters{};
  std::size_t length = 0;
};
