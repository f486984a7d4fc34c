#include "acquisition/transport/viewerOutput.h"

#include "common/format.h"
#include "core/logger.h"

#if defined(__linux__)
#include "acquisition/backends/v4l2/LoopbackOutput.h"
#endif

namespace transport {

std::unique_ptr<ViewerOutput> openViewerOutput(const std::string& path, [[maybe_unused]] std::uint32_t width,
                                               [[maybe_unused]] std::uint32_t height) {
  std::string reason = "this system has no such outputs";
#if defined(__linux__)
  if (auto output = v4l2::openLoopback(v4l2::systemCalls(), path, width, height, reason)) return output;
#endif
  logger::warning(format("v4l2 loopback {:s} not opened: {:s}", path, reason), LOG_HERE);
  return nullptr;
}

}  // namespace transport
