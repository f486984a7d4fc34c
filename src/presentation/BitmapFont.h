#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/image.h"
#include "common/rgb.h"
#include "common/views.h"

/// An anti-aliased 8-bit bitmap font from a ".bff" file: equal cells on a sheet, one per character code, and
/// an advance width for each of the 256 codes. A font that is not loaded prints nothing.
class BitmapFont {
 public:
  /// Bytes before the glyph sheet.
  static constexpr std::size_t kHeaderBytes = 276;
  /// Larger files are not read: the sheet of any readable font is a hundredth of it.
  static constexpr std::size_t kLargestFile = std::size_t{64} << 20;
  /// What `print` takes of a text.
  static constexpr std::size_t kLongestText = 255;

  /// Loads a font file in place of what was loaded. On failure, which is logged, nothing is loaded.
  bool load(const std::string& path);
  /// The same from a file's bytes; `path` serves the messages.
  bool loadBytes(std::span<const std::uint8_t> bytes, const std::string& path);
  bool loaded() const { return !sheet.empty(); }

  /// Writes `text` in the font's colour. The first glyph's left edge stands at column x; its lower edge is y
  /// rows above the frame's. Any position may be given: what lies outside is not drawn. The text ends before
  /// the first character that would reach the right edge, and before one that the font does not have (logged
  /// as "Character {:d}('{:c}') is beyond font range"); that is no failure. False only without a font.
  bool print(const image<rgb_24b>& frame, int x, int y, const char* text) const;
  /// `print` in a colour of the caller's, without a line in the log: the character that the font does not
  /// have, if that ended the text. For texts of every frame.
  std::optional<std::uint8_t> draw(ImageView<rgb_24b> frame, int x, int y, std::string_view text,
                                   rgb_24b color) const;

  /// Columns that `text` takes.
  int widthOf(std::string_view text) const;
  /// Rows that a text takes; taller cells than any image count as 65535.
  int cellHeight() const { return static_cast<int>(std::min(cell.height, std::uint32_t{65535})); }

  rgb_24b textColor{255, 255, 255};

 private:
  struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
  };

  std::int64_t glyphOffset(std::uint8_t code) const;
  void drawGlyph(ImageView<rgb_24b> frame, std::int64_t x, std::int64_t top, std::uint8_t code,
                 rgb_24b color) const;

  Size cell;
  Size sheetSize;
  std::uint32_t cellsPerRow = 0;  ///< at least 1 in a loaded font
  std::uint8_t firstCharacter = 0;
  std::array<std::uint8_t, 256> advances{};  ///< per character code, pixels
  std::vector<std::uint8_t> sheet;           ///< coverage, row by row; empty: not loaded
};
