// Replies of a camera to register commands: numbers, traces, serial numbers, sensor settings.
#include "acquisition/registers/registerReply.h"

#include "core/settings.h"
#include "scriptedLink.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const int product = provider.ConsumeIntegralInRange<std::uint8_t>(0x00, 0x03) + 0x96ea;
  const int transfers = provider.ConsumeIntegral<std::uint8_t>();
  const auto rare = provider.ConsumeIntegralInRange<std::uint8_t>(0, 7);
  const bool traced = rare == 7;
  const auto bytes = fuzzing::rest(provider);
  static settings* const record = [] {
    settings::create(0, nullptr);
    return settings::inst();
  }();
  record->UVCVerbose = traced;  // the trace looks at every byte of a reply, and is slow

  registers::replyValue(bytes);
  registers::leadingHex(fuzzing::textOf(bytes));
  for (const char c : registers::printableReply(bytes))
    fuzzing::require(c == '\033' || (c >= ' ' && c <= '~'));
  for (const char c : registers::flashText(bytes)) fuzzing::require(c >= ' ' && c <= '~');

  fuzzing::ScriptedLink link(product, transfers, bytes);
  CameraRegisters camera(link);
  std::array<std::uint16_t, 4> values{};
  camera.readSerialNumber();
  camera.readSensorConfiguration(values);
  camera.readCurrentAGC(values);
  camera.setShutter(camera.hasShutter());
  camera.setGSK(values[0]);
  if (rare == 6) {
    camera.sendCommand("R12 004C 0000", "DACGSK_A");
    camera.setIntegrationTime(values[0]);
    camera.setGFID(values[1]);
    camera.setImageGain(values[2]);
    camera.setCurrentGSK(values[0]);
    camera.setCurrentGFID(values[1]);
    camera.setCurrentTINT(values[2]);
    camera.writeCoreConfiguration(values[3]);
  }
  std::vector<unsigned char> buffer(33);
  camera.readResponse("reply", buffer.data(), 32, true);
  return 0;
}
