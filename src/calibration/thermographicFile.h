#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "core/logger.h"

// Thermographic correction tables (".tco"): a text of 65,536 levels, one decimal number 0 to 65535 a line;
// level p of the image becomes the table's entry p.

namespace calibration {

inline constexpr std::size_t kThermographicEntries = 65536;

/// Reads the levels. At the first that is no plain number within 0 to 65535 it stops and returns false; the
/// entries before it stay changed.
bool readThermographicTable(std::span<const std::uint8_t> bytes,
                            std::span<std::uint16_t, kThermographicEntries> table);

/// Loads a file and logs on behalf of `caller`. A missing file is a normal case: one grey line. False without
/// any when the path is empty.
bool loadThermographicTable(std::span<std::uint16_t, kThermographicEntries> table, const std::string& path,
                            const LogContext& caller);

/// Writes a table.
bool saveThermographicTable(std::span<const std::uint16_t, kThermographicEntries> table,
                            const std::string& path);

}  // namespace calibration
