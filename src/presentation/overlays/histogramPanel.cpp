#include <algorithm>
#include <array>
#include <cmath>

#include "acquisition/imageAcquisition.h"
#include "common/numerics.h"
#include "ombrix/Ombrix.h"
#include "presentation/overlays/elements.h"
#include "presentation/overlays/shapes.h"
#include "presentation/overlays/valueLabels.h"

namespace overlays {

namespace {

constexpr int kWidth = 44;
constexpr int kLines = 128;
constexpr std::size_t kBinsPerLine = 514;  // 258 on the last line
constexpr double kLongestLine = 42.50065;  // pixels
constexpr int kLabelGap = 4;               // between label and panel

using Sums = std::array<std::uint64_t, kLines>;

Sums sumLines(const MappingState& mapping) {
  // Beyond its bounds the manual mapping gathers everything in the end bins, which would dwarf the rest.
  const bool withoutEnds = mapping.mappingMode == Ombrix::mappingManual;
  const std::size_t first = withoutEnds ? 1 : 0;
  const std::size_t end = withoutEnds ? kLevels - 1 : kLevels;
  Sums sums{};
  for (std::size_t line = 0; line < sums.size(); ++line) {
    const std::size_t stop = std::min((line + 1) * kBinsPerLine, end);
    for (std::size_t bin = std::max(line * kBinsPerLine, first); bin < stop; ++bin) {
      sums[line] += mapping.colorCounts[bin];
    }
  }
  return sums;
}

Palette::Colors plainColors(const Palette& palette) {
  MutexLock lock(palette.colourMutex);
  return palette.plainColors();
}

void drawLines(const OverlayFrame& frame) {
  const Sums sums = sumLines(frame.camera.processing.mapping);
  const std::uint64_t largest = *std::max_element(sums.begin(), sums.end());
  if (largest == 0) return;
  const Palette::Colors colors = plainColors(frame.camera.processing.palette);
  for (int line = 0; line < kLines; ++line) {
    const std::uint64_t sum = sums[static_cast<std::size_t>(line)];
    const int length = truncateToI32(static_cast<double>(sum) * kLongestLine / static_cast<double>(largest));
    // The colour of the line's middle level, 514 * line + 257.
    fillBox(frame.picture, {frame.width() - length, frame.height() - 1 - line, length, 1},
            colors[2 * static_cast<std::size_t>(line) + 1]);
  }
}

void drawContrastCurve(const OverlayFrame& frame) {
  constexpr rgb_24b kWhite{255, 255, 255};
  const MappingState& mapping = frame.camera.processing.mapping;
  int before = 0;  // columns from the right edge
  for (int line = 0; line < kLines; ++line) {
    const std::size_t level = std::min((static_cast<std::size_t>(line) + 1) * kBinsPerLine, kLevels) - 1;
    const double share = static_cast<double>(mapping.contrastTable[level]);
    const int column = std::clamp(truncateToI32(share * (kWidth - 1) + 0.5), 0, kWidth - 1);
    const int nearest = std::min(before, column);
    const int length = std::abs(column - before) + 1;
    fillBox(frame.picture, {frame.width() - nearest - length, frame.height() - 1 - line, length, 1}, kWhite);
    before = column;
  }
}

void drawLabels(const OverlayFrame& frame) {
  const BitmapFont& font = frame.fonts.label;
  const ValueLabels labels = valueLabels(frame);
  const auto left = [&](const Text& text) {
    return frame.width() - kWidth - kLabelGap - font.widthOf(text.view());
  };
  const int top = std::min(kLines, frame.height()) - font.cellHeight();
  writeText(frame, font, left(labels.low), 0, labels.low.view());
  writeText(frame, font, left(labels.high), top, labels.high.view());
}

}  // namespace

void drawHistogramPanel(const OverlayFrame& frame) {
  darkenBox(frame.picture, {frame.width() - kWidth, frame.height() - kLines, kWidth, kLines});
  drawLines(frame);
  const std::int32_t mode = frame.camera.processing.mapping.mappingMode;
  if (mode == Ombrix::mappingEqualized || mode == Ombrix::mappingTemperatureWindow) drawContrastCurve(frame);
  drawLabels(frame);
}

}  // namespace overlays
