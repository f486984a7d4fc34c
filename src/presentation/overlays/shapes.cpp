#include "presentation/overlays/shapes.h"

#include <algorithm>

namespace overlays {

namespace {

constexpr rgb_24b kWhite{255, 255, 255};
constexpr rgb_24b kBlack{0, 0, 0};

Box clip(ImageView<rgb_24b> picture, const Box& box) {
  const int right = std::min(box.left + box.width, static_cast<int>(picture.width));
  const int bottom = std::min(box.top + box.height, static_cast<int>(picture.height));
  const int left = std::max(box.left, 0);
  const int top = std::max(box.top, 0);
  return {left, top, std::max(right - left, 0), std::max(bottom - top, 0)};
}

template <typename Change>
void changeBox(ImageView<rgb_24b> picture, const Box& box, const Change& change) {
  const Box inside = clip(picture, box);
  for (int y = inside.top; y < inside.top + inside.height; ++y) {
    rgb_24b* const first = picture.row(static_cast<std::uint32_t>(y)) + inside.left;
    std::for_each(first, first + inside.width, change);
  }
}

std::uint8_t twoThirds(std::uint8_t channel) { return static_cast<std::uint8_t>(channel * 2 / 3); }

}  // namespace

void fillBox(ImageView<rgb_24b> picture, const Box& box, rgb_24b color) {
  changeBox(picture, box, [color](rgb_24b& pixel) { pixel = color; });
}

void outlineBox(ImageView<rgb_24b> picture, const Box& box, int thickness, rgb_24b color) {
  const int inner = box.height - 2 * thickness;
  fillBox(picture, {box.left, box.top, box.width, thickness}, color);
  fillBox(picture, {box.left, box.top + box.height - thickness, box.width, thickness}, color);
  fillBox(picture, {box.left, box.top + thickness, thickness, inner}, color);
  fillBox(picture, {box.left + box.width - thickness, box.top + thickness, thickness, inner}, color);
}

void darkenBox(ImageView<rgb_24b> picture, const Box& box) {
  changeBox(picture, box, [](rgb_24b& pixel) {
    pixel = {twoThirds(pixel.r), twoThirds(pixel.g), twoThirds(pixel.b)};
  });
}

void writeText(const OverlayFrame& frame, const BitmapFont& font, int x, int y, std::string_view text) {
  // Farther away a shadow is a second text that crosses the first.
  const int farthest = std::max(font.cellHeight() / 8, 1);
  const int shadowX = std::clamp(frame.shadowX, -farthest, farthest);
  const int shadowY = std::clamp(frame.shadowY, -farthest, farthest);
  font.draw(frame.picture, x + shadowX, y - shadowY, text, kBlack);
  font.draw(frame.picture, x, y, text, kWhite);
}

void writeTextInside(const OverlayFrame& frame, const BitmapFont& font, int x, int y, std::string_view text) {
  // A text must end before the last column, see BitmapFont.
  const int highestX = frame.width() - 1 - font.widthOf(text);
  const int highestY = frame.height() - font.cellHeight();
  writeText(frame, font, std::max(std::min(x, highestX), 0), std::max(std::min(y, highestY), 0), text);
}

}  // namespace overlays
