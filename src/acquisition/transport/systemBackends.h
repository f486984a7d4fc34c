#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "acquisition/transport/videoPlatform.h"
#include "acquisition/transport/viewerOutput.h"

// What the system that the library is built for offers: one folder of src/acquisition/backends defines these.
namespace transport {

struct Backend {
  const char* name;
  std::shared_ptr<VideoPlatform> (*make)();
};

/// The backends for real cameras, the system's own choice first; empty where there are none.
std::span<const Backend> systemBackends();

/// A video output node of the system; null when there is none of that path, with a reason.
std::unique_ptr<ViewerOutput> openSystemOutput(const std::string& path, std::uint32_t width,
                                               std::uint32_t height, std::string& reason);

}  // namespace transport
