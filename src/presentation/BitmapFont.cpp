#include "presentation/BitmapFont.h"

#include <algorithm>
#include <cstring>

#include "common/fileBytes.h"
#include "common/format.h"
#include "common/littleEndian.h"
#include "core/logger.h"

namespace {

constexpr std::uint8_t kSignature[] = {0xBF, 0xF2};
constexpr std::size_t kBitsPerPixelAt = 18;
constexpr std::size_t kFirstCharacterAt = 19;
constexpr std::size_t kAdvancesAt = 20;

/// What a file must be as long as; saturates instead of wrapping.
std::uint64_t ruledFileSize(std::uint8_t bitsPerPixel, std::uint32_t width, std::uint32_t height) {
  constexpr std::uint64_t kTooLarge = ~std::uint64_t{0};
  const std::uint64_t bytesPerPixel = bitsPerPixel / 8;  // 31 at most; the fraction is dropped
  const std::uint64_t pixels = std::uint64_t{width} * height;
  if (pixels > kTooLarge / 64) return kTooLarge;
  return bytesPerPixel * pixels + BitmapFont::kHeaderBytes;
}

/// One channel of `over` laid onto `under`, with coverage 0 to 255.
std::uint8_t blend(std::uint8_t under, std::uint8_t over, std::uint32_t coverage) {
  return static_cast<std::uint8_t>((under * (255 - coverage) + over * coverage) / 255);
}

}  // namespace

bool BitmapFont::load(const std::string& path) {
  sheet.clear();
  const auto size = regularFileSize(path);
  const auto bytes = readFileBytes(path, kLargestFile);
  if (!size || !bytes) {
    logger::error(format("Error while opening file '{:s}'", path), LOG_HERE);
    return false;
  }
  if (bytes->size() != *size) {
    logger::error(format("Error while reading file '{:s}'", path), LOG_HERE);
    return false;
  }
  return loadBytes(*bytes, path);
}

bool BitmapFont::loadBytes(std::span<const std::uint8_t> bytes, const std::string& path) {
  sheet.clear();
  if (bytes.size() < std::size(kSignature) || !std::equal(kSignature, std::end(kSignature), bytes.begin())) {
    logger::error(format("Unrecognized file format '{:s}'", path), LOG_HERE);
    return false;
  }
  const bool hasHeader = bytes.size() >= kHeaderBytes;
  const std::uint8_t bitsPerPixel = hasHeader ? bytes[kBitsPerPixelAt] : 0;
  if (hasHeader) {
    sheetSize = {loadLittle32(bytes.data() + 2), loadLittle32(bytes.data() + 6)};
    cell = {loadLittle32(bytes.data() + 10), loadLittle32(bytes.data() + 14)};
  }
  if (!hasHeader || bytes.size() != ruledFileSize(bitsPerPixel, sheetSize.width, sheetSize.height)) {
    logger::error(format("Wrong file size '{:s}'", path), LOG_HERE);
    return false;
  }
  if (bitsPerPixel != 8) {
    logger::error(format("Error while reading file '{:s}', font is not 8bpp", path), LOG_HERE);
    return false;
  }
  if (bytes.size() == kHeaderBytes || cell.width == 0 || cell.height == 0 || cell.width > sheetSize.width) {
    logger::error(format("Wrong file size '{:s}'", path), LOG_HERE);
    return false;
  }
  cellsPerRow = sheetSize.width / cell.width;  // a remainder at the right edge holds no cell
  firstCharacter = bytes[kFirstCharacterAt];
  std::copy_n(bytes.begin() + kAdvancesAt, advances.size(), advances.begin());
  sheet.assign(bytes.begin() + kHeaderBytes, bytes.end());
  return true;
}

bool BitmapFont::print(const image<rgb_24b>& frame, int x, int y, const char* text) const {
  if (text == nullptr || *text == '\0') return true;
  if (!loaded()) return false;
  const std::size_t length = strnlen(text, kLongestText);
  const auto beyond = draw({frame.data, frame.width, frame.height}, x, y, {text, length}, textColor);
  if (beyond) {
    logger::error(
        format("Character {:d}('{:c}') is beyond font range", int{*beyond}, static_cast<char>(*beyond)),
        LOG_HERE);
  }
  return true;
}

std::optional<std::uint8_t> BitmapFont::draw(ImageView<rgb_24b> frame, int x, int y, std::string_view text,
                                             rgb_24b color) const {
  if (!loaded()) return std::nullopt;
  const std::int64_t top = std::int64_t{frame.height} - y - cell.height;
  std::int64_t left = x;
  for (const char character : text.substr(0, kLongestText)) {
    const auto code = static_cast<std::uint8_t>(character);
    const std::int64_t offset = glyphOffset(code);
    if (offset < 0 || offset >= static_cast<std::int64_t>(sheet.size())) return code;
    if (left + advances[code] >= std::int64_t{frame.width}) return std::nullopt;
    drawGlyph(frame, left, top, code, color);
    left += advances[code];
  }
  return std::nullopt;
}

/// Of the glyph's upper left pixel; below 0 for codes before the first.
std::int64_t BitmapFont::glyphOffset(std::uint8_t code) const {
  const std::int64_t k = std::int64_t{code} - firstCharacter;
  const std::int64_t perRow = cellsPerRow;
  // A cell taller than the sheet leaves no second row of cells, however much taller it is.
  const std::int64_t rowHeight = std::min(cell.height, sheetSize.height);
  return rowHeight * sheetSize.width * (k / perRow) + (k % perRow) * cell.width;
}

void BitmapFont::drawGlyph(ImageView<rgb_24b> frame, std::int64_t x, std::int64_t top, std::uint8_t code,
                           rgb_24b color) const {
  const std::int64_t firstRow = std::max<std::int64_t>(0, -top);
  const std::int64_t endRow = std::min<std::int64_t>(cell.height, frame.height - top);
  const std::int64_t firstColumn = std::max<std::int64_t>(0, -x);
  const std::int64_t endColumn = std::min<std::int64_t>(advances[code], frame.width - x);
  for (std::int64_t row = firstRow; row < endRow; ++row) {
    const std::int64_t source = glyphOffset(code) + row * sheetSize.width;
    // Cells that reach below or behind the sheet are empty there.
    const std::int64_t inSheet = static_cast<std::int64_t>(sheet.size()) - source;
    if (inSheet <= firstColumn) return;
    rgb_24b* const target = frame.row(static_cast<std::uint32_t>(top + row));
    for (std::int64_t column = firstColumn; column < std::min(endColumn, inSheet); ++column) {
      const std::uint32_t coverage = sheet[static_cast<std::size_t>(source + column)];
      if (coverage == 0) continue;
      rgb_24b& pixel = target[x + column];
      pixel = {blend(pixel.r, color.r, coverage), blend(pixel.g, color.g, coverage),
               blend(pixel.b, color.b, coverage)};
    }
  }
}

int BitmapFont::widthOf(std::string_view text) const {
  int width = 0;
  for (const char character : text.substr(0, kLongestText)) {
    width += advances[static_cast<std::uint8_t>(character)];
  }
  return width;
}
