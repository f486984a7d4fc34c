#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

// Texts are UTF-8 everywhere in this library; std::filesystem takes plain ones for the encoding of the
// system, which need not be UTF-8, and so do streams that open a file by a text.

/// The path that a UTF-8 text names. Text that is no UTF-8 is taken byte by byte.
inline std::filesystem::path filePath(std::string_view text) {
  try {
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
  } catch (const std::system_error&) {
    return std::filesystem::path(std::string(text));
  }
}

/// A path as UTF-8 text, with slashes.
inline std::string pathText(const std::filesystem::path& path) {
  const std::u8string text = path.generic_u8string();
  return {text.begin(), text.end()};
}
