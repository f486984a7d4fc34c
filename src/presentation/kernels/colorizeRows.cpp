#include "presentation/kernels/colorizeRows.h"

#include <cstddef>
#include <cstring>

#include "common/vectorised.h"

#if defined(OMBRIX_OWN_FORMS)
#include <immintrin.h>
#endif

namespace kernels {
namespace {

constexpr std::size_t kColorBytes = 3;

OMBRIX_INLINE const std::uint8_t* entryOf(const std::uint8_t* table, std::size_t level) {
  return table + ColorTable::kEntryBytes * level;
}

/// The last pixels, three bytes each: what follows the band belongs to another task.
OMBRIX_INLINE void paintNarrow(const std::uint16_t* levels, std::size_t count, const std::uint8_t* table,
                               std::uint8_t* out) {
  for (std::size_t i = 0; i < count; i++, out += kColorBytes)
    std::memcpy(out, entryOf(table, levels[i]), kColorBytes);
}

/// Moves four bytes for a pixel of three: one load and one store instead of two each. The fourth byte lands
/// on the next pixel, which is painted after this one.
OMBRIX_COMMON_FORM
void paint(const std::uint16_t* levels, std::size_t count, const std::uint8_t* table, std::uint8_t* out) {
  std::size_t i = 0;
  for (; i + 1 < count; i++, out += kColorBytes) std::memcpy(out, entryOf(table, levels[i]), 4);
  paintNarrow(levels + i, count - i, table, out);
}

#if defined(OMBRIX_OWN_FORMS)

OMBRIX_AVX2_FORM inline __m128i loadEntry(const std::uint8_t* table, std::uint64_t level) {
  std::int32_t entry;
  std::memcpy(&entry, table + ColorTable::kEntryBytes * (level & 0xFFFF), sizeof entry);
  return _mm_cvtsi32_si128(entry);
}

/// Moves twelve bytes for four pixels: the bytes between the colours are pressed out in a register. The store
/// is of sixteen; what it writes beyond its own pixels is painted after it.
OMBRIX_AVX2_FORM
void paint(const std::uint16_t* levels, std::size_t count, const std::uint8_t* table, std::uint8_t* out) {
  const __m128i press = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  constexpr std::size_t kGroup = 4;
  std::size_t i = 0;
  for (; i + 2 * kGroup <= count; i += kGroup, out += kGroup * kColorBytes) {
    std::uint64_t four;
    std::memcpy(&four, levels + i, sizeof four);
    const __m128i first = _mm_unpacklo_epi32(loadEntry(table, four), loadEntry(table, four >> 16));
    const __m128i second = _mm_unpacklo_epi32(loadEntry(table, four >> 32), loadEntry(table, four >> 48));
    const __m128i colors = _mm_shuffle_epi8(_mm_unpacklo_epi64(first, second), press);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), colors);
  }
  paintNarrow(levels + i, count - i, table, out);
}

#endif

}  // namespace

void colorizeRows(ImageView<const std::uint16_t> levels, ImageView<rgb_24b> colors, const ColorTable& table,
                  std::uint32_t firstRow, std::uint32_t lastRow) {
  const std::size_t count = std::size_t{lastRow - firstRow} * levels.width;
  paint(levels.row(firstRow), count, table.bytes(), reinterpret_cast<std::uint8_t*>(colors.row(firstRow)));
}

}  // namespace kernels
