#include "acquisition/backends/v4l2/usbDescriptors.h"

#include <cstddef>

namespace v4l2 {
namespace {

enum DescriptorType : std::uint8_t {
  kConfiguration = 0x02,
  kInterface = 0x04,
  kClassSpecificInterface = 0x24
};

constexpr std::size_t kConfigurationBytes = 9;
constexpr std::size_t kInterfaceBytes = 9;
constexpr std::size_t kUnitBytes = 20;  // up to the end of the GUID
constexpr std::uint8_t kVideoClass = 0x0E;
constexpr std::uint8_t kVideoControl = 0x01;
constexpr std::uint8_t kExtensionUnit = 0x06;

/// A GUID on USB: three little-endian numbers, then eight bytes in order.
transport::Guid readGuid(std::span<const std::uint8_t> bytes) {
  transport::Guid guid;
  guid.a = static_cast<std::uint32_t>(bytes[0] | bytes[1] << 8 | bytes[2] << 16) |
           static_cast<std::uint32_t>(bytes[3]) << 24;
  guid.b = static_cast<std::uint16_t>(bytes[4] | bytes[5] << 8);
  guid.c = static_cast<std::uint16_t>(bytes[6] | bytes[7] << 8);
  for (std::size_t i = 0; i < 8; ++i) guid.d[i] = bytes[8 + i];
  return guid;
}

/// Where in the descriptors the reader stands.
struct Place {
  std::uint8_t configuration = 0;
  std::uint8_t interfaceNumber = 0;
  bool videoControl = false;
};

void step(Place& place, std::span<const std::uint8_t> descriptor, std::vector<ExtensionUnit>& units) {
  switch (descriptor[1]) {
    case kConfiguration:
      if (descriptor.size() < kConfigurationBytes) return;
      place = {descriptor[5], 0, false};
      return;
    case kInterface:
      place.videoControl = descriptor.size() >= kInterfaceBytes && descriptor[5] == kVideoClass &&
                           descriptor[6] == kVideoControl;
      if (place.videoControl) place.interfaceNumber = descriptor[2];
      return;
    case kClassSpecificInterface:
      if (!place.videoControl || descriptor.size() < kUnitBytes || descriptor[2] != kExtensionUnit) return;
      if (descriptor[3] == 0) return;  // id 0 addresses the interface itself, never a unit
      units.push_back(
          {place.configuration, place.interfaceNumber, descriptor[3], readGuid(descriptor.subspan(4, 16))});
      return;
    default:
      return;
  }
}

}  // namespace

std::vector<ExtensionUnit> extensionUnits(std::span<const std::uint8_t> descriptors) {
  std::vector<ExtensionUnit> units;
  Place place;
  while (descriptors.size() >= 2) {
    const std::size_t length = descriptors[0];
    // A length below 2 would not get on; one beyond the end promises bytes that are not there.
    if (length < 2 || length > descriptors.size()) break;
    step(place, descriptors.first(length), units);
    descriptors = descriptors.subspan(length);
  }
  return units;
}

}  // namespace v4l2
