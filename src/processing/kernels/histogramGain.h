#pragma once

#include <cstdint>
#include <span>

#include "common/views.h"
#include "processing/levels.h"

namespace kernels {

/// One output level per level, borrowed.
using GainTable = std::span<std::uint16_t, kLevels>;
using ConstGainTable = std::span<const std::uint16_t, kLevels>;

struct GainSettings {
  std::uint16_t low = 0;       ///< the linear share begins here ...
  std::uint16_t high = 65535;  ///< ... and ends here; crossed bounds count as a span of 0
  float weight = 0.0f;         ///< of the equalised share, limited to 0..1; NaN counts as 0
  std::int32_t steepest = 1;   ///< output levels per level that no share exceeds, at least 1
};

/// Makes the gain curve of a frame with this histogram: (1 - weight) of a linear mapping and weight of a
/// plateau equalisation. It rises everywhere or stays level, by at most `steepest` per level; what a limited
/// share leaves of the output range is split evenly above and below it. A histogram without pixels gives the
/// linear share alone.
///
/// The equalised share looks at the body of the histogram, which is all but 1/512 of the pixels at either
/// end. Dead and saturated pixels would stretch the span over the whole scale although they own next to
/// nothing of an equalised range; so do small hot objects. Such tails get the room that the body, being
/// limited, leaves. The linear share does not trim: with weight 0 the picture is that of the linear mapping.
void tabulateGain(ConstLevelCounts histogram, const GainSettings& settings, GainTable table);

/// Histogram gain control: maps an image by the curve of `tabulateGain`, kept in `table`.
/// histogram: the levels of the image, possibly before a small shift of them all.  from, to: of one size; may
/// be the same image, must not overlap otherwise.
void correctImage(ImageView<const std::uint16_t> from, ImageView<std::uint16_t> to,
                  ConstLevelCounts histogram, const GainSettings& settings, GainTable table);
/// The same in place.
inline void correctImage(ImageView<std::uint16_t> image, ConstLevelCounts histogram,
                         const GainSettings& settings, GainTable table) {
  correctImage(image, image, histogram, settings, table);
}

/// Counts the levels of an image after the table, from its histogram before it; that is much cheaper than
/// counting pixels. The image's levels are those of the histogram plus `shift`, saturated.
void countMapped(ConstLevelCounts histogram, std::int32_t shift, ConstGainTable table, LevelCounts counts);

}  // namespace kernels
