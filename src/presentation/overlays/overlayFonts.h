#pragma once

#include <string>

#include "core/frameMutex.h"
#include "presentation/BitmapFont.h"

/// The fonts of all overlays: that of the setting `font`, and a small one for labels beside something.
struct OverlayFonts {
  BitmapFont text;
  BitmapFont label;
};

/// The process-wide fonts; not loaded, they print nothing.
OverlayFonts& overlayFonts() REQUIRES(frameMutex);

/// Loads what is not loaded yet: NAME.bff from "fonts/" of the data directory, or from where the library
/// keeps its own. Without the one that the settings name, warns "Font '{:s}' not found, using default
/// 'Calibri_32_AA'" and takes that; one that is not to be had at all is one error line.
void loadOverlayFonts(const std::string& dataDirectory) EXCLUDES(frameMutex);
void freeOverlayFonts() EXCLUDES(frameMutex);

/// Path of the font file; of the data directory, existing or not, when there is none.
std::string fontFile(const std::string& dataDirectory, const std::string& name);
