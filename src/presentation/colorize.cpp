#include "presentation/colorize.h"

#include <chrono>

#include "acquisition/imageAcquisition.h"
#include "core/logger.h"
#include "core/settings.h"
#include "presentation/colorStripes.h"
#include "presentation/overlays/drawOverlays.h"
#include "processing/state/processData.h"

namespace {

/// Milliseconds, cut to whole microseconds.
float elapsedMs(std::chrono::steady_clock::time_point start) {
  const auto elapsed = std::chrono::steady_clock::now() - start;
  const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count();
  return static_cast<float>(static_cast<double>(microseconds) / 1000.0);
}

bool paint(processData<unsigned short>& processing) {
  const image<unsigned short>& levels = processing.outputImage;
  image<rgb_24b>& colors = processing.colorImage;
  if (levels.empty() || levels.width != colors.width || levels.height != colors.height) return false;
  MutexLock lock(processing.palette.colourMutex);
  if (!processing.palette.ready()) return false;
  paintStripes(levels.view(), colors.view(), processing.palette.table(),
               colorStripeCount(settings::current().processingUnits, levels.height));
  return true;
}

}  // namespace

bool colorize(imageAcquisition* acquisition, unsigned short a, unsigned short b) {
  logger::debug("colorize()", LOG_HERE);
  const auto start = std::chrono::steady_clock::now();
  if (!paint(acquisition->processing)) return false;
  acquisition->processing.colorizeTimeMs = elapsedMs(start);
  drawOverlays(acquisition, a, b);
  return true;
}
