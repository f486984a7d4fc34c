#include "acquisition/imageAcquisition.h"
#include "presentation/overlays/elements.h"
#include "presentation/overlays/shapes.h"
#include "presentation/overlays/valueLabels.h"

namespace overlays {

namespace {

constexpr int kMargin = 8;  // pixels to the picture's edges
constexpr int kHeight = 6;  // times the scale

/// The colours that the picture shows for levels 0, 257, ..., 65535.
Palette::Colors shownColors(const Palette& palette) {
  MutexLock lock(palette.colourMutex);
  Palette::Colors colors;
  for (std::size_t i = 0; i < colors.size(); ++i) colors[i] = palette.table()[i * Palette::kColorStep];
  return colors;
}

}  // namespace

void drawColorBar(const OverlayFrame& frame) {
  constexpr rgb_24b kBlack{0, 0, 0};
  const Box bar{kMargin, kMargin, frame.width() - 2 * kMargin, kHeight * frame.scale};
  if (bar.width < 2) return;
  const Palette::Colors colors = shownColors(frame.camera.processing.palette);
  outlineBox(frame.picture, bar.grown(1), 1, kBlack);
  for (int column = 0; column < bar.width; ++column) {
    const auto index = static_cast<std::size_t>(column * 255 / (bar.width - 1));
    fillBox(frame.picture, {bar.left + column, bar.top, 1, bar.height}, colors[index]);
  }

  const BitmapFont& font = frame.fonts.label;
  const ValueLabels labels = valueLabels(frame);
  const int y = frame.height() - bar.top - bar.height - 2 - font.cellHeight();
  const int right = bar.left + bar.width - font.widthOf(labels.high.view());
  writeText(frame, font, bar.left, y, labels.low.view());
  writeText(frame, font, right, y, labels.high.view());
}

}  // namespace overlays
