// Thermographic tables (.tco). Whole ones have 65,536 lines, more than an input should have and slow to read:
// a few inputs stand behind so many good lines that their own are the last.
#include <array>

#include "calibration/thermographicFile.h"
#include "memoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using calibration::kThermographicEntries;
  constexpr std::size_t kOwnLines = 16;
  constexpr std::uint16_t kUntouched = 54321;
  fuzzing::Provider provider(data, size);
  const bool allowed = provider.ConsumeIntegral<std::uint8_t>() == 0xA5;
  fuzzing::Bytes bytes = fuzzing::rest(provider);
  // One in 256 changes of such an input gives another; nothing and zeros alone are made too often.
  const bool behindOthers = allowed && bytes.size() > 8 && fuzzing::isOneIn(256, bytes);
  // Through a file, whole ones hardly ever: they take thousands of times as long.
  const bool fromFile = fuzzing::isOneIn(behindOthers ? 4096 : 16, bytes);
  if (behindOthers) {
    static const fuzzing::Bytes lines = [] {
      fuzzing::Bytes text(2 * (kThermographicEntries - kOwnLines), '\n');
      for (std::size_t i = 0; i < text.size(); i += 2) text[i] = '7';
      return text;
    }();
    bytes.insert(bytes.begin(), lines.begin(), lines.end());
  }
  static std::array<std::uint16_t, kThermographicEntries> table;
  // What an earlier input left in the front of the table does not matter; its last entry tells a whole one.
  table.back() = kUntouched;
  const bool whole = calibration::readThermographicTable(bytes, table);
  fuzzing::require(whole || table.back() == kUntouched);
  if (fromFile) {
    const std::string& path = fuzzing::MemoryFile::of(bytes);
    fuzzing::require(calibration::loadThermographicTable(table, path, LOG_HERE) == whole);
    fuzzing::require(!calibration::loadThermographicTable(table, "", LOG_HERE) &&
                     !calibration::loadThermographicTable(table, fuzzing::MemoryFile::folder, LOG_HERE));
    if (whole) {
      const auto wanted = table.back();
      fuzzing::require(calibration::saveThermographicTable(table, path));
      fuzzing::require(calibration::loadThermographicTable(table, path, LOG_HERE) && table.back() == wanted);
      fuzzing::require(!calibration::saveThermographicTable(table, fuzzing::MemoryFile::folder));
    }
  }
  fuzzing::require(!whole || bytes.size() >= 2 * kThermographicEntries - 1);
  return 0;
}
