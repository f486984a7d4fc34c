#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Whole files at once. Nothing here throws or logs.

/// Size of the regular file at `path`; nothing when there is none. A directory opens as a stream on some
/// systems and a pipe would block, so neither counts as a file.
std::optional<std::uint64_t> regularFileSize(const std::string& path);

/// The first bytes of a regular file, `limit` at most; nothing when it cannot be opened. A read error ends
/// the data early.
std::optional<std::vector<std::uint8_t>> readFileBytes(const std::string& path, std::uint64_t limit);

/// The last `count` bytes of a regular file; nothing when it is shorter or cannot be read.
std::optional<std::vector<std::uint8_t>> readFileTail(const std::string& path, std::uint64_t count);

enum class FileWrite { written, notOpened, failed };

/// Replaces the file at `path`; its directory must exist.
FileWrite writeFileBytes(const std::string& path, std::span<const std::uint8_t> bytes);
FileWrite writeFileText(const std::string& path, std::string_view text);

/// Bytes of a text file as characters.
inline std::string_view asText(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
