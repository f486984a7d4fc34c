#pragma once

#include <string>

#include "imageFiles/picture.h"

namespace imageFiles {

/// True for the endings that `writePicture` knows: .tiff, .tif and .png, in small letters.
bool isPicturePath(const std::string& path);

/// Writes the picture in the form that the ending names, replacing the file; the directory must exist. On
/// failure nothing is left of it, and `problem` says why.
bool writePicture(const std::string& path, const Picture& picture, std::string& problem);

}  // namespace imageFiles
