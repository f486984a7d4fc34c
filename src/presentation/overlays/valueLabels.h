#pragma once

#include "presentation/overlays/OverlayFrame.h"
#include "presentation/overlays/texts.h"

namespace overlays {

/// What the lowest and the highest output level of the frame show.
struct ValueLabels {
  Text low;
  Text high;
};

/// Temperatures where levels stand for them, else the levels.
ValueLabels valueLabels(const OverlayFrame& frame);

}  // namespace overlays
