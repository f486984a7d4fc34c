#include "presentation/kernels/colorizeRows.h"

#include <cstddef>
#include <cstring>

namespace kernels {
namespace {

/// Moves four bytes for a pixel of three: one load and one store instead of two each. The fourth byte lands
/// on the next pixel, which is painted after this one.
inline void paintWide(const std::uint8_t* table, std::uint16_t level, std::uint8_t* out) {
  std::memcpy(out, table + std::size_t{3} * level, 4);
}

}  // namespace

void colorizeRows(ImageView<const std::uint16_t> levels, ImageView<rgb_24b> colors, const ColorTable& table,
                  std::uint32_t firstRow, std::uint32_t lastRow) {
  const std::size_t count = std::size_t{lastRow - firstRow} * levels.width;
  if (count == 0) return;
  const std::uint16_t* in = levels.row(firstRow);
  auto* out = reinterpret_cast<std::uint8_t*>(colors.row(firstRow));
  const std::uint8_t* bytes = table.bytes();
  std::size_t i = 0;
  for (; i + 4 < count; i += 4, out += 12) {
    paintWide(bytes, in[i], out);
    paintWide(bytes, in[i + 1], out + 3);
    paintWide(bytes, in[i + 2], out + 6);
    paintWide(bytes, in[i + 3], out + 9);
  }
  // The last pixels, three bytes each: what follows the band belongs to another task.
  for (; i < count; i++, out += 3) std::memcpy(out, bytes + std::size_t{3} * in[i], 3);
}

}  // namespace kernels
