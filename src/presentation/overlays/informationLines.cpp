#include "acquisition/imageAcquisition.h"
#include "common/numerics.h"
#include "presentation/overlays/elements.h"
#include "presentation/overlays/shapes.h"
#include "presentation/overlays/texts.h"

namespace overlays {

namespace {

constexpr int kLeft = 8;
constexpr int kBottom = 8;
constexpr int kLineGap = 2;

/// Puts one line above the other.
class LineWriter {
 public:
  explicit LineWriter(const OverlayFrame& overlayFrame) : frame(overlayFrame) {}

  void write(const Text& text) {
    writeText(frame, frame.fonts.text, kLeft, y, text.view());
    y += frame.fonts.text.cellHeight() + kLineGap;
  }

 private:
  const OverlayFrame& frame;
  int y = kBottom;
};

Text serialNumberLine(const imageAcquisition& camera) {
  Text text;
  if (camera.device.serialNumber == 0) return text << '#' << camera.deviceNumber();
  return text << "S/N " << camera.device.serialNumber << " (#" << camera.deviceNumber() << ')';
}

Text targetLine(const TargetMeasurement& target, float emissivity) {
  Text text;
  appendCelsius(text, target.targetTemperatureK - kZeroCelsiusInK, 2) << " (" << kPlusMinus;
  if (isBlackBody(emissivity)) return text.fixed(target.targetNoiseK, 1) << ')';
  return text.fixed(target.targetNoiseK, 2)
         << ") @ " << truncateToI32(static_cast<double>(emissivity) * 100.0 + 0.5) << '%';
}

Text sizeLine(const OverlayFrame& frame) {
  Text text;
  return text.fixed(frame.zoom, 2) << "x (" << frame.displayWidth << 'x' << frame.displayHeight << ')';
}

Text sensorLine(float kelvin) {
  Text text;
  text << "FPA ";
  return appendCelsius(text, kelvin - kZeroCelsiusInK, 2);
}

Text rateLine(float rate) {
  Text text;
  return text.fixed(rate, 2) << "fps";
}

}  // namespace

void drawInformationLines(const OverlayFrame& frame, const InformationLines& shown) {
  const imageAcquisition& camera = frame.camera;
  const auto& data = camera.processing;
  LineWriter lines(frame);
  if (shown.serialNumber) lines.write(serialNumberLine(camera));
  // Temperatures that were not measured yet are left out; the sensor's comes a tenth of a second late.
  if (shown.target && data.target.noiseHistory.front() != kNotInitialised) {
    lines.write(targetLine(data.target, data.radiometry.emissivity));
  }
  if (shown.size) lines.write(sizeLine(frame));
  const float sensorK = camera.device.sensorTemperatureK;
  if (shown.sensorTemperature && sensorK > 0.0f) lines.write(sensorLine(sensorK));
  if (shown.rate) lines.write(rateLine(camera.publicationRate));
  if (shown.calibration) {
    Text text;
    lines.write(text << "Calibration in progress...");
  }
}

}  // namespace overlays
