#include "acquisition/transport/viewerOutput.h"

#include "acquisition/transport/systemBackends.h"
#include "common/format.h"
#include "core/logger.h"

namespace transport {

std::unique_ptr<ViewerOutput> openViewerOutput(const std::string& path, std::uint32_t width,
                                               std::uint32_t height) {
  std::string reason;
  if (auto output = openSystemOutput(path, width, height, reason)) return output;
  logger::warning(format("v4l2 loopback {:s} not opened: {:s}", path, reason), LOG_HERE);
  return nullptr;
}

}  // namespace transport
