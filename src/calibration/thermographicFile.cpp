#include "calibration/thermographicFile.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "common/fileBytes.h"
#include "common/format.h"
#include "common/numberText.h"

namespace {

constexpr std::uint64_t kLongestText = 64 * calibration::kThermographicEntries;  // a line needs 6 characters

}  // namespace

namespace calibration {

bool readThermographicTable(std::span<const std::uint8_t> bytes,
                            std::span<std::uint16_t, kThermographicEntries> table) {
  if (bytes.size() > kLongestText) return false;
  std::string_view text = asText(bytes);
  for (std::uint16_t& entry : table) {
    const std::optional<std::uint16_t> level = takeUnsigned16(text);
    if (!level) return false;
    entry = *level;
  }
  return true;
}

bool loadThermographicTable(std::span<std::uint16_t, kThermographicEntries> table, const std::string& path,
                            const LogContext& caller) {
  logger::debug("loadThermographicCorrection()", caller);
  if (path.empty()) return false;
  const auto bytes = readFileBytes(path, kLongestText + 1);
  if (!bytes) {
    logger::info(format("\033[2;37mFile '{:s}' not found", path), caller);
    return false;
  }
  if (!readThermographicTable(*bytes, table)) {
    logger::error(format("Error while opening file '{:s}'", path), caller);
    return false;
  }
  logger::info(format("File '{:s}' loaded", path), caller);
  return true;
}

bool saveThermographicTable(std::span<const std::uint16_t, kThermographicEntries> table,
                            const std::string& path) {
  std::string text;
  text.reserve(6 * table.size());
  for (const std::uint16_t level : table) {
    char digits[6];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, level).ptr);
    text += '\n';
  }
  if (writeFileText(path, text) != FileWrite::written) {
    logger::error(format("Error while saving file '{:s}'", path), LOG_HERE);
    return false;
  }
  logger::info(format("File '{:s}' saved", path), LOG_HERE);
  return true;
}

}  // namespace calibration
