#include "presentation/overlays/overlayFonts.h"

#include <utility>

#include "common/fileBytes.h"
#include "common/format.h"
#include "core/libraryLocation.h"
#include "core/logger.h"
#include "core/settings.h"

namespace {

/// Never destroyed, so that a process may end while cameras stream.
OverlayFonts& fonts = *new OverlayFonts;

/// From the library's directory: as the build was told to install them, then as they lie beside "lib" of a
/// prefix (the build tree and programs among them), and beside "lib/TRIPLET".
constexpr const char* kOwnFonts[] = {
#ifdef OMBRIX_FONTS_FROM_LIBRARY
    OMBRIX_FONTS_FROM_LIBRARY,
#endif
    "../share/ombrix/fonts",
    "../../share/ombrix/fonts",
};

bool isThere(const std::string& path) { return regularFileSize(path).has_value(); }

BitmapFont loadTextFont(const std::string& dataDirectory) {
  BitmapFont font;
  const std::string name = settings::current().font.get();
  const std::string path = fontFile(dataDirectory, name);
  if (isThere(path) && font.load(path)) return font;
  logger::warning(format("Font '{:s}' not found, using default 'Calibri_32_AA'", name), LOG_HERE);
  font.load(fontFile(dataDirectory, "Calibri_32_AA"));
  return font;
}

BitmapFont loadLabelFont(const std::string& dataDirectory) {
  BitmapFont font;
  font.load(fontFile(dataDirectory, "Calibri_16_AA"));
  return font;
}

}  // namespace

std::string fontFile(const std::string& dataDirectory, const std::string& name) {
  const std::string given = format("{:s}/fonts/{:s}.bff", dataDirectory, name);
  if (isThere(given)) return given;
  const std::string own = libraryDirectory();
  if (own.empty()) return given;
  for (const char* place : kOwnFonts) {
    const std::string path = format("{:s}/{:s}/{:s}.bff", own, place, name);
    if (isThere(path)) return path;
  }
  return given;
}

OverlayFonts& overlayFonts() { return fonts; }

void loadOverlayFonts(const std::string& dataDirectory) {
  bool wantsText = false;
  bool wantsLabel = false;
  {
    FairLock lock(frameMutex);
    wantsText = !fonts.text.loaded();
    wantsLabel = !fonts.label.loaded();
  }
  // Files are read while the other cameras' frames go on.
  BitmapFont text, label;
  if (wantsText) text = loadTextFont(dataDirectory);
  if (wantsLabel) label = loadLabelFont(dataDirectory);
  FairLock lock(frameMutex);
  if (wantsText) fonts.text = std::move(text);
  if (wantsLabel) fonts.label = std::move(label);
}

void freeOverlayFonts() {
  FairLock lock(frameMutex);
  fonts = {};
}
