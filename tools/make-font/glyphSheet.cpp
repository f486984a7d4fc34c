#include "tools/make-font/glyphSheet.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include "common/format.h"
#include "common/littleEndian.h"

namespace tools {
namespace {

struct LibraryDeleter {
  void operator()(FT_Library library) const { FT_Done_FreeType(library); }
};
struct FaceDeleter {
  void operator()(FT_Face face) const { FT_Done_Face(face); }
};
using Library = std::unique_ptr<std::remove_pointer_t<FT_Library>, LibraryDeleter>;
using Face = std::unique_ptr<std::remove_pointer_t<FT_Face>, FaceDeleter>;

/// One rendered character. Its origin is at column 0 on the base line.
struct Glyph {
  int left = 0;   ///< of the bitmap
  int top = 0;    ///< rows that the bitmap reaches above the base line
  int width = 0;  ///< of the bitmap, pixels
  int height = 0;
  int advance = 0;
  std::vector<std::uint8_t> coverage;
};

Face openFace(FT_Library library, const SheetPlan& plan) {
  FT_Face face = nullptr;
  if (FT_New_Face(library, plan.font.c_str(), 0, &face) != 0) {
    throw std::runtime_error(format("'{}' is no font that can be read", plan.font));
  }
  Face owner(face);
  if (FT_Set_Pixel_Sizes(face, 0, plan.size) != 0) {
    throw std::runtime_error(format("'{}' cannot be rendered at {} pixels", plan.font, plan.size));
  }
  return owner;
}

constexpr std::ptrdiff_t kAdvancesAt = 20;  // in the file

bool isControl(int code) { return code < 32 || (code >= 127 && code < 160); }

/// The character to render for a code. Unicode begins with the 256 characters of ISO 8859-1; two of them look
/// like others, and some fonts have only those.
FT_ULong characterFor(FT_Face face, int code) {
  const auto character = static_cast<FT_ULong>(code);
  if (FT_Get_Char_Index(face, character) != 0) return character;
  constexpr FT_ULong kHardSpace = 160;
  constexpr FT_ULong kSoftHyphen = 173;
  return character == kHardSpace ? ' ' : character == kSoftHyphen ? '-' : character;
}

Glyph render(FT_Face face, int code) {
  if (FT_Load_Char(face, characterFor(face, code), FT_LOAD_RENDER) != 0) {
    throw std::runtime_error(format("character {} cannot be rendered", code));
  }
  const FT_GlyphSlot slot = face->glyph;
  const FT_Bitmap& bitmap = slot->bitmap;
  if (bitmap.width != 0 && (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY || bitmap.pitch < 0)) {
    throw std::runtime_error(format("character {} is no grey picture", code));
  }
  Glyph glyph{slot->bitmap_left,
              slot->bitmap_top,
              static_cast<int>(bitmap.width),
              static_cast<int>(bitmap.rows),
              static_cast<int>((slot->advance.x + 32) >> 6),
              {}};
  for (unsigned row = 0; row < bitmap.rows; ++row) {
    const std::uint8_t* const source =
        bitmap.buffer + static_cast<std::size_t>(row) * static_cast<std::size_t>(bitmap.pitch);
    glyph.coverage.insert(glyph.coverage.end(), source, source + bitmap.width);
  }
  // Printing takes the columns from the origin to the advance: nothing of the glyph may lie outside.
  glyph.left = std::max(glyph.left, 0);
  glyph.advance = std::max(glyph.advance, glyph.left + glyph.width);
  if (glyph.advance > 255) throw std::runtime_error(format("character {} is wider than 255 pixels", code));
  return glyph;
}

void place(const Glyph& glyph, int baseLine, std::size_t index, GlyphSheet& sheet) {
  const std::size_t left =
      index % GlyphSheet::kCellsPerRow * sheet.cellWidth + static_cast<std::size_t>(glyph.left);
  const std::size_t top =
      index / GlyphSheet::kCellsPerRow * sheet.cellHeight + static_cast<std::size_t>(baseLine - glyph.top);
  for (std::size_t row = 0; row < static_cast<std::size_t>(glyph.height); ++row) {
    std::copy_n(
        glyph.coverage.begin() + static_cast<std::ptrdiff_t>(row * static_cast<std::size_t>(glyph.width)),
        glyph.width, sheet.coverage.begin() + static_cast<std::ptrdiff_t>((top + row) * sheet.width + left));
  }
}

}  // namespace

GlyphSheet renderSheet(const SheetPlan& plan) {
  FT_Library opened = nullptr;
  if (FT_Init_FreeType(&opened) != 0) throw std::runtime_error("FreeType does not start");
  const Library library(opened);
  const Face face = openFace(library.get(), plan);

  GlyphSheet sheet;
  sheet.firstCharacter = static_cast<std::uint8_t>(plan.first);
  std::vector<Glyph> glyphs;
  int above = 0;  // rows above and below the base line that any character takes
  int below = 0;
  for (int code = plan.first; code <= plan.last; ++code) {
    const Glyph& glyph = glyphs.emplace_back(isControl(code) ? Glyph() : render(face.get(), code));
    above = std::max(above, glyph.top);
    below = std::max(below, glyph.height - glyph.top);
    sheet.cellWidth = std::max(sheet.cellWidth, static_cast<std::uint32_t>(glyph.advance));
    sheet.advances[static_cast<std::size_t>(code)] = static_cast<std::uint8_t>(glyph.advance);
  }
  if (above + below == 0 || sheet.cellWidth == 0)
    throw std::runtime_error(format("'{}' shows nothing", plan.font));
  sheet.cellHeight = static_cast<std::uint32_t>(above + below);
  const auto cells = static_cast<std::uint32_t>(glyphs.size());
  sheet.width = GlyphSheet::kCellsPerRow * sheet.cellWidth;
  sheet.height = (cells + GlyphSheet::kCellsPerRow - 1) / GlyphSheet::kCellsPerRow * sheet.cellHeight;
  sheet.coverage.resize(std::size_t{sheet.width} * sheet.height);
  for (std::size_t i = 0; i < glyphs.size(); ++i) place(glyphs[i], above, i, sheet);
  return sheet;
}

std::vector<std::uint8_t> fontFileBytes(const GlyphSheet& sheet) {
  std::vector<std::uint8_t> bytes(std::size_t{kAdvancesAt} + sheet.advances.size() + sheet.coverage.size());
  bytes[0] = 0xBF;
  bytes[1] = 0xF2;
  storeLittle32(&bytes[2], sheet.width);
  storeLittle32(&bytes[6], sheet.height);
  storeLittle32(&bytes[10], sheet.cellWidth);
  storeLittle32(&bytes[14], sheet.cellHeight);
  bytes[18] = 8;
  bytes[19] = sheet.firstCharacter;
  const auto behindAdvances =
      std::copy(sheet.advances.begin(), sheet.advances.end(), bytes.begin() + kAdvancesAt);
  std::copy(sheet.coverage.begin(), sheet.coverage.end(), behindAdvances);
  return bytes;
}

}  // namespace tools
