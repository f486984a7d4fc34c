#include <algorithm>
#include <cstdio>

#include "acquisition/imageAcquisition.h"
#include "common/numerics.h"
#include "presentation/overlays/elements.h"
#include "presentation/overlays/shapes.h"
#include "presentation/overlays/texts.h"

namespace overlays {

namespace {

constexpr rgb_24b kBlack{0, 0, 0};
constexpr rgb_24b kCold{64, 160, 255};
constexpr rgb_24b kWarm{255, 64, 48};
constexpr int kReach = 3;  // of a box from its spot, times the scale
constexpr int kLabelGap = 4;

/// Where a column or row of the frame is seen, enlarged about the centre; at the edge when it is outside.
int shownAt(int place, int extent, float zoom) {
  const double centre = extent / 2.0 - 0.5;
  const double shown = (place - centre) * static_cast<double>(zoom) + centre;
  return std::clamp(truncateToI32(shown + 0.5), 0, std::max(extent - 1, 0));
}

void drawSpot(const OverlayFrame& frame, PixelPosition place, std::uint16_t level, rgb_24b color) {
  const auto& data = frame.camera.processing;
  const int x = shownAt(place.x, data.colorImage.width, frame.zoom);
  const int y = shownAt(place.y, data.colorImage.height, frame.zoom);
  const int reach = kReach * frame.scale;
  const Box box{x - reach, y - reach, 2 * reach + 1, 2 * reach + 1};
  outlineBox(frame.picture, box.grown(1), 1, kBlack);
  outlineBox(frame.picture, box, frame.scale, color);

  const BitmapFont& font = frame.fonts.label;
  Text text;
  appendCelsius(text, levelCelsius(data.radiometry, level), 2);
  const int width = font.widthOf(text.view());
  int left = x + reach + kLabelGap;
  if (left + width >= frame.width()) left = x - reach - kLabelGap - width;
  writeTextInside(frame, font, left, frame.height() - y - font.cellHeight() / 2, text.view());
}

/// The first level that occurs, from the front or from the back of the counts; 0 when none does.
template <typename Iterator>
std::uint16_t firstLevel(Iterator begin, Iterator end) {
  const auto found = std::find_if(begin, end, [](std::uint32_t count) { return count != 0; });
  return found == end ? 0 : static_cast<std::uint16_t>(found - begin);
}

}  // namespace

void drawSpots(const OverlayFrame& frame) {
  const FrameStatistics& stats = frame.camera.processing.statistics;
  const std::uint16_t lowest = firstLevel(stats.histogram.begin(), stats.histogram.end());
  const std::uint16_t fromTop = firstLevel(stats.histogram.rbegin(), stats.histogram.rend());
  drawSpot(frame, stats.minPosition, lowest, kCold);
  drawSpot(frame, stats.maxPosition, static_cast<std::uint16_t>(65535 - fromTop), kWarm);
}

void printSpots(const OverlayFrame& frame) {
  const FrameStatistics& stats = frame.camera.processing.statistics;
  std::printf("min %u %u\n", unsigned{stats.minPosition.x}, unsigned{stats.minPosition.y});
  std::printf("max %u %u\n", unsigned{stats.maxPosition.x}, unsigned{stats.maxPosition.y});
}

}  // namespace overlays
