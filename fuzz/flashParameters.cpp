// The parameter block in a camera's flash, as it is shown and as opening a camera reads it.
#include "memoryFile.h"
#include "scriptedLink.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const int product = provider.ConsumeIntegralInRange<std::uint8_t>(0x00, 0x03) + 0x96ea;
  const int transfers = provider.ConsumeIntegralInRange<std::uint8_t>(0, 250);
  const auto address = provider.ConsumeIntegral<std::uint32_t>();
  const auto bytes = fuzzing::rest(provider);

  // A whole dump takes thousands of transfers: the camera dies in the second block of one.
  const bool dump = fuzzing::isOneIn(64, bytes);
  fuzzing::ScriptedLink link(product, dump ? std::min(transfers, 95) : transfers, bytes);
  CameraRegisters camera(link);
  std::size_t shown = 0;
  const bool complete = camera.getParameters(dump, [&](std::string_view text) { shown += text.size(); });
  fuzzing::require(!complete || shown > 0);
  fuzzing::Bytes block(bytes.size() % 100);
  camera.readFlash(true, address, block);
  camera.readPartNumber();
  camera.readSerialText();
  return 0;
}
