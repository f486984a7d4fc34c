#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tools {

/// Which characters of a font go on a sheet, and how large.
struct SheetPlan {
  std::string font;         ///< a file that FreeType reads
  std::uint32_t size = 24;  ///< of the em square, pixels
  int first = 32;           ///< character codes in ISO 8859-1
  int last = 255;
};

/// A bitmap font: equal cells side by side, one per character.
struct GlyphSheet {
  static constexpr std::uint32_t kCellsPerRow = 16;

  std::uint32_t width = 0;  ///< of the sheet, pixels
  std::uint32_t height = 0;
  std::uint32_t cellWidth = 0;
  std::uint32_t cellHeight = 0;
  std::uint8_t firstCharacter = 0;
  std::array<std::uint8_t, 256> advances{};
  std::vector<std::uint8_t> coverage;  ///< row by row
};

/// Renders the characters with grey edges. Control characters stay empty and take no room. Throws
/// std::runtime_error with one line.
GlyphSheet renderSheet(const SheetPlan& plan);

/// The sheet as the bytes of a ".bff" file.
std::vector<std::uint8_t> fontFileBytes(const GlyphSheet& sheet);

}  // namespace tools
