#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/rgb.h"
#include "common/views.h"

namespace transport {

/// Where colour frames go for viewers of others: a video output device of the system.
class ViewerOutput {
 public:
  virtual ~ViewerOutput() = default;

  /// Shows a picture of the size the output was opened with; one that the device has no room for is left out.
  /// Never waits. The first error closes the output, with one log line. One thread at a time.
  virtual void show(ImageView<const rgb_24b> picture) = 0;
};

/// Opens the output device at `path`. Null, after one warning, when it cannot show such pictures or the
/// system has no such devices.
std::unique_ptr<ViewerOutput> openViewerOutput(const std::string& path, std::uint32_t width,
                                               std::uint32_t height);

}  // namespace transport
