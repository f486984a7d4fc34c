#include "presentation/overlays/valueLabels.h"

#include "acquisition/imageAcquisition.h"

namespace overlays {

ValueLabels valueLabels(const OverlayFrame& frame) {
  const auto& data = frame.camera.processing;
  ValueLabels labels;
  if (data.flatField.radiometric()) {
    appendCelsius(labels.low, levelCelsius(data.radiometry, data.mapping.shownLow), 1);
    appendCelsius(labels.high, levelCelsius(data.radiometry, data.mapping.shownHigh), 1);
  } else {
    labels.low << data.mapping.shownLow;
    labels.high << data.mapping.shownHigh;
  }
  return labels;
}

}  // namespace overlays
