#include "acquisition/transport/systemBackends.h"

#include "acquisition/backends/mediafoundation/MediaFoundationPlatform.h"

namespace transport {

std::span<const Backend> systemBackends() {
  static constexpr Backend kBackends[] = {
      {"mediafoundation", []() -> std::shared_ptr<VideoPlatform> {
         return std::make_shared<mediafoundation::MediaFoundationPlatform>();
       }}};
  return kBackends;
}

std::unique_ptr<ViewerOutput> openSystemOutput(const std::string&, std::uint32_t, std::uint32_t,
                                               std::string& reason) {
  reason = "this system has no such outputs";
  return nullptr;
}

}  // namespace transport
