#include "acquisition/transport/systemBackends.h"

#include "acquisition/backends/v4l2/LoopbackOutput.h"
#include "acquisition/backends/v4l2/V4L2Platform.h"

namespace transport {

std::span<const Backend> systemBackends() {
  static constexpr Backend kBackends[] = {{"v4l2", [] { return v4l2::makeV4L2Platform(); }}};
  return kBackends;
}

std::unique_ptr<ViewerOutput> openSystemOutput(const std::string& path, std::uint32_t width,
                                               std::uint32_t height, std::string& reason) {
  return v4l2::openLoopback(v4l2::systemCalls(), path, width, height, reason);
}

}  // namespace transport
