#include "presentation/overlays/drawOverlays.h"

#include <algorithm>
#include <cmath>

#include "acquisition/imageAcquisition.h"
#include "common/numerics.h"
#include "core/settings.h"
#include "presentation/colorStripes.h"
#include "presentation/overlays/elements.h"

namespace {

/// More than this fills any picture.
constexpr int kLargestScale = 1000;

float usableZoom(float zoom) { return std::isfinite(zoom) && zoom > 0.0f ? zoom : 1.0f; }

/// The magnification of the displayed picture. The digital zoom takes whole factors only.
float displayedZoom(const OutputState& output, bool digital) {
  const float first = usableZoom(output.zoomFactor);
  return (digital ? std::max(std::floor(first), 1.0f) : first) * usableZoom(output.secondZoomFactor);
}

int scaleOf(float zoom) {
  return std::clamp(truncateToI32(static_cast<double>(zoom) + 0.5), 1, kLargestScale);
}

/// A fraction of the picture's extent in pixels. A shadow that is asked for is seen on the smallest picture.
int shadowOffset(float fraction, std::uint16_t extent) {
  if (!std::isfinite(fraction) || fraction == 0.0f) return 0;
  const double offset = std::fabs(static_cast<double>(fraction)) * extent;
  const int pixels = std::clamp(truncateToI32(offset + 0.5), 1, 65535);
  return fraction < 0.0f ? -pixels : pixels;
}

/// The rows that colourisation has painted. The few behind the last full stripe keep what they have.
ImageView<rgb_24b> paintedRows(image<rgb_24b>& picture, const settings& options) {
  const unsigned stripes = colorStripeCount(options.processingUnits, picture.height);
  return {picture.data, picture.width, picture.height / stripes * stripes};
}

overlays::InformationLines shownLines(const settings& options, bool others, bool calibrating) {
  overlays::InformationLines lines{options.displaySensorSerial, options.displayTarget,
                                   options.displayImageSize,    options.displaySensorTemperature,
                                   options.displayFrameRate,    false};
  const bool any =
      others || lines.serialNumber || lines.target || lines.size || lines.sensorTemperature || lines.rate;
  lines.calibration = calibrating && any;  // a picture without overlays stays without
  return lines;
}

}  // namespace

void drawOverlays(imageAcquisition* acquisition, unsigned short a, unsigned short b) {
  const settings& options = settings::current();
  auto& data = acquisition->processing;
  if (data.colorImage.empty()) return;
  const bool panel = options.displayHistogram;
  const bool bar = options.displayColorBar;
  const bool spots = options.displayMinMax;
  const bool cross = options.displayTarget;
  const bool calibrating = data.calibration.ffcCalibrating || data.calibration.shutterFFCRunning;
  const float zoom = displayedZoom(data.output, options.digitalZoom);
  const OverlayFrame frame{*acquisition,
                           paintedRows(data.colorImage, options),
                           overlayFonts(),
                           a,
                           b,
                           zoom,
                           scaleOf(zoom),
                           shadowOffset(options.xShadowOffset, a),
                           shadowOffset(options.yShadowOffset, b)};
  if (bar) overlays::drawColorBar(frame);
  if (panel) overlays::drawHistogramPanel(frame);
  if (cross) overlays::drawCentreCross(frame);
  if (spots) overlays::drawSpots(frame);
  if (spots && options.printMinMaxPos) overlays::printSpots(frame);
  overlays::drawInformationLines(frame, shownLines(options, panel || bar || spots, calibrating));
}
