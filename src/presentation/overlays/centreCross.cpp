#include "acquisition/imageAcquisition.h"
#include "presentation/overlays/elements.h"
#include "presentation/overlays/shapes.h"

namespace overlays {

void drawCentreCross(const OverlayFrame& frame) {
  constexpr rgb_24b kBlack{0, 0, 0};
  const int s = frame.scale;
  const int x = frame.width() / 2;
  const int y = frame.camera.processing.colorImage.height / 2;
  const int across = s / 2;  // of a stroke, before the centre line
  // Offsets -5 to -2 and 1 to 4. A picture turned by a quarter shows the same cross.
  for (const int start : {-5 * s, s}) {
    fillBox(frame.picture, {x + start, y - across, 4 * s, s}, kBlack);
    fillBox(frame.picture, {x - across, y + start, s, 4 * s}, kBlack);
  }
}

}  // namespace overlays
