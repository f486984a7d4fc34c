#include "acquisition/transport/systemBackends.h"

namespace transport {

std::span<const Backend> systemBackends() { return {}; }

std::unique_ptr<ViewerOutput> openSystemOutput(const std::string&, std::uint32_t, std::uint32_t,
                                               std::string& reason) {
  reason = "this system has no such outputs";
  return nullptr;
}

}  // namespace transport
