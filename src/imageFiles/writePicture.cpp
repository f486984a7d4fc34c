#include "imageFiles/writePicture.h"

#include <cerrno>
#include <system_error>
#include <vector>

#include "common/fileBytes.h"
#include "common/filePath.h"
#include "imageFiles/pngFile.h"
#include "imageFiles/tiffFiles.h"

namespace imageFiles {
namespace {

bool isTiffPath(const std::string& path) { return path.ends_with(".tiff") || path.ends_with(".tif"); }

}  // namespace

bool isPicturePath(const std::string& path) { return isTiffPath(path) || path.ends_with(".png"); }

bool writePicture(const std::string& path, const Picture& picture, std::string& problem) {
  if (!isPicturePath(path)) {
    problem = "its ending is none of .tiff, .tif and .png";
    return false;
  }
  std::error_code status;
  if (std::filesystem::is_fifo(filePath(path),
                               status)) {  // opening one waits for its reader, for ever if need be
    problem = "it is a pipe";
    return false;
  }
  const auto bytes = isTiffPath(path) ? encodeTiff(picture, problem) : encodePng(picture);
  if (bytes.empty()) return false;
  errno = 0;
  const FileWrite outcome = writeFileBytes(path, bytes);
  if (outcome == FileWrite::written) return true;
  problem = errno != 0 ? std::generic_category().message(errno) : "it cannot be written";
  // Half a picture helps nobody; a device of that name stays.
  if (outcome == FileWrite::failed && regularFileSize(path)) {
    std::error_code ignored;
    std::filesystem::remove(filePath(path), ignored);
  }
  return false;
}

}  // namespace imageFiles
