// Raw USB descriptors of a device, and the paths by which cameras are told apart.
#include "acquisition/backends/v4l2/usbDescriptors.h"

#include "acquisition/transport/deviceList.h"
#include "fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto bytes = fuzzing::rest(provider);
  const auto units = v4l2::extensionUnits(bytes);
  fuzzing::require(units.size() <= bytes.size() / 20);
  for (const auto& unit : units) fuzzing::require(unit.unitId != 0);
  transport::describePath(fuzzing::textOf(bytes));
  transport::modelNameOfPath(fuzzing::textOf(bytes));
  return 0;
}
