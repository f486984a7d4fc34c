#include "common/format.h"
#include "imageFiles/tiffFiles.h"
#include "imageFiles/writePicture.h"
#include "ombrix/Ombrix.h"
#include "tools/common/session.h"
#include "tools/ombrix/commands.h"

namespace tools {

void writeSnapshot(const Options& options, OmbrixSDK& sdk) {
  if (!imageFiles::isPicturePath(options.out)) {
    throw CommandFailure(format("--out: '{}' ends in none of .tiff, .tif and .png", options.out), kExitUsage);
  }
  if (!options.out.ends_with(".png") && !imageFiles::tiffSupported()) {
    throw CommandFailure("--out: this build writes no TIFF files, only .png");
  }
  const auto camera = openCamera(options, sdk);
  Ombrix::metadata metadata;
  settle(options, *camera, metadata);
  if (interrupted()) throw CommandFailure("interrupted");
  const auto kind = options.kind == "colour" || options.kind == "color" ? Ombrix::snapshotColor
                    : options.kind == "cooked"                          ? Ombrix::snapshotCooked
                                                                        : Ombrix::snapshotThermal;
  if (!camera->takeSnapshot(options.out, kind)) {
    throw CommandFailure(format("camera {}: no snapshot in '{}'", options.camera, options.out));
  }
}

}  // namespace tools
