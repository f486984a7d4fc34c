#pragma once

#include <string_view>

#include "presentation/overlays/OverlayFrame.h"

// What overlays are put together from. Everything may lie anywhere and is clipped to the picture.
namespace overlays {

/// Pixels [left, left + width) x [top, top + height), from the upper left corner.
struct Box {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;

  /// The box with a margin of so many pixels around.
  Box grown(int margin) const {
    return {left - margin, top - margin, width + 2 * margin, height + 2 * margin};
  }
};

void fillBox(ImageView<rgb_24b> picture, const Box& box, rgb_24b color);
/// The box's border, `thickness` pixels inwards.
void outlineBox(ImageView<rgb_24b> picture, const Box& box, int thickness, rgb_24b color);
/// Every channel becomes two thirds of what it was.
void darkenBox(ImageView<rgb_24b> picture, const Box& box);

/// White text with a black shadow, readable on any palette; the shadow is at most an eighth of the font's
/// height away. y: rows between the picture's lower edge and the
/// text's.
void writeText(const OverlayFrame& frame, const BitmapFont& font, int x, int y, std::string_view text);
/// The same with x and y moved so that the whole text is inside, where the picture has room for it.
void writeTextInside(const OverlayFrame& frame, const BitmapFont& font, int x, int y, std::string_view text);

}  // namespace overlays
