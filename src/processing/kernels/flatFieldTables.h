#pragma once

#include <cstdint>
#include <span>

#include "common/views.h"

/// A table holds, per pixel, the sum of N frames of a uniform scene; sum / N is the pixel's level. Image and
/// tables have the same height; a table may be wider than the image, whose columns then are its first ones.
/// N is never 0.
namespace kernels {

using TableView = ImageView<const std::uint32_t>;

/// table += frame.
void accumulateFrame(ImageView<const std::uint16_t> frame, ImageView<std::uint32_t> table);

/// Moves every pixel by the distance of its table level to `target`, in place; results are limited to
/// 0..65535. Sums are rounded to single precision first: those above 2^24 lose low bits.
void correctOffset(ImageView<std::uint16_t> image, TableView table, std::uint32_t target,
                   std::uint16_t frames);

/// The same in two steps. The first needs the table and works out by how much each pixel moves; false: some
/// move by more than 16 bits with sign hold, and `shifts` is of no use. shifts: as many as pixels of the
/// table.
bool tabulateShifts(TableView table, std::uint32_t target, std::uint16_t frames,
                    std::span<std::int16_t> shifts);
void shiftPixels(std::span<std::uint16_t> pixels, std::span<const std::int16_t> shifts);

/// `correctOffset` with the table at `weight` (0 to 1) between `low` and `high`.
void correctOffset(ImageView<std::uint16_t> image, TableView low, TableView high, std::uint32_t target,
                   std::uint16_t frames, float weight);

/// image = table / N, limited to 65535.
void showTable(TableView table, std::uint16_t frames, ImageView<std::uint16_t> image);

/// Maps `low`..`high` onto 0..65535; values outside are limited, NaN shows as 0, as does everything when
/// high == low.
void showValues(ImageView<const float> values, float low, float high, ImageView<std::uint16_t> image);

/// Tables in front of two references 25 K apart, 25 and 50 degC; each at a low and at a high sensor
/// temperature.
struct ReferenceTables {
  TableView low25;
  TableView high25;
  TableView low50;
  TableView high50;
};

/// Of every pixel, row by row: its level in front of a scene at rangeMinK and the kelvin that a count stands
/// for. Both have at least as many entries as the image has pixels.
struct PixelReferences {
  std::span<float> levelAtMin;
  std::span<float> kelvinPerCount;
};

/// Turns raw levels into temperatures, in place: rangeMinK becomes 0 and rangeMinK + rangeSpanK 65535. Every
/// pixel gets gain and offset of its own from the two references. A pixel that sees no difference between
/// them ends at 0 or 65535. references: receives what `correctWithReferences` below needs to do the same
/// again while tables, N, weight and rangeMinK stay.
void correctWithReferences(ImageView<std::uint16_t> image, const ReferenceTables& tables,
                           std::uint16_t frames, float weight, float rangeMinK, float rangeSpanK,
                           const PixelReferences& references);
void correctWithReferences(ImageView<std::uint16_t> image, const PixelReferences& references,
                           float rangeSpanK);

}  // namespace kernels
