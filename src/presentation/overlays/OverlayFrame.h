#pragma once

#include <cstdint>

#include "common/rgb.h"
#include "common/views.h"
#include "presentation/overlays/overlayFonts.h"

class imageAcquisition;

/// What every overlay of a frame is given. Nothing here is owned; valid while the frame mutex is held.
struct OverlayFrame {
  const imageAcquisition& camera;
  ImageView<rgb_24b> picture;  ///< the painted rows: those below would keep what is drawn there
  const OverlayFonts& fonts;
  std::uint16_t displayWidth = 0;
  std::uint16_t displayHeight = 0;
  float zoom = 1.0f;  ///< of both resamplings together
  int scale = 1;      ///< of the overlays' geometry: the zoom rounded, at least 1
  int shadowX = 0;    ///< of the texts, pixels to the right
  int shadowY = 0;    ///< pixels down

  int width() const { return static_cast<int>(picture.width); }
  int height() const { return static_cast<int>(picture.height); }
};
