#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "acquisition/transport/videoPlatform.h"

namespace v4l2 {

/// One extension unit of a camera's video function.
struct ExtensionUnit {
  std::uint8_t configuration = 0;    ///< bConfigurationValue of the configuration it stands in
  std::uint8_t interfaceNumber = 0;  ///< of its VideoControl interface
  std::uint8_t unitId = 0;
  transport::Guid guid;
};

/// The extension units in a device's raw descriptors, in order. The bytes come from the device and may be
/// anything: what does not fit is skipped, and a length that cannot be ends the search.
std::vector<ExtensionUnit> extensionUnits(std::span<const std::uint8_t> descriptors);

}  // namespace v4l2
