#include "tools/virtual-camera/descriptors.h"

#include <algorithm>

#include "acquisition/transport/extensionUnit.h"
#include "common/numerics.h"

namespace virtualcamera {
namespace {

constexpr std::uint32_t kVendor = 0x5c2b;
constexpr std::uint32_t kRelease = 0x0100;
constexpr std::uint32_t kNv12 = 0x3231564E;
// Bytes 4 to 15 of the GUID of every format that is named by four characters.
constexpr std::uint8_t kFormatGuidTail[] = {0x00, 0x00, 0x10, 0x00, 0x80, 0x00,
                                            0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

enum : std::uint8_t { kTextMaker = 1, kTextProduct = 2, kTextSerial = 3 };

std::uint32_t bitsPerPixel(const transport::StreamType& type) { return type.fourcc == kNv12 ? 12 : 16; }

/// Text as USB has it: UTF-16 behind a length.
Bytes textDescriptor(std::string_view text) {
  Bytes bytes;
  put8(bytes, static_cast<std::uint32_t>(2 + 2 * text.size()));
  put8(bytes, 0x03);
  for (const char character : text) put16(bytes, static_cast<unsigned char>(character));
  return bytes;
}

Bytes deviceDescriptor(const simulation::CameraModel& model) {
  Bytes bytes;
  // USB 2.0; the class says that an association groups the interfaces; control packets of 64 bytes.
  putBytes(bytes, {18, 0x01, 0x00, 0x02, 0xEF, 0x02, 0x01, 64});
  put16(bytes, kVendor);
  put16(bytes, model.productId);
  put16(bytes, kRelease);
  putBytes(bytes, {kTextMaker, kTextProduct, kTextSerial, 1});
  return bytes;
}

void putGuid(Bytes& to, const transport::Guid& guid) {
  put32(to, guid.a);
  put16(to, guid.b);
  put16(to, guid.c);
  to.insert(to.end(), std::begin(guid.d), std::end(guid.d));
}

/// Lens, extension unit, way out. Unit 2 takes the lens's picture and hands it to terminal 3.
Bytes controlDescriptors() {
  Bytes units;
  putBytes(units, {18, 0x24, 0x02, 1, 0x01, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0});
  putBytes(units, {28, 0x24, 0x06, kCameraUnitId});
  putGuid(units, transport::kCameraUnit);
  putBytes(units, {kLastControl, 1, 1, 3, 0xFF, 0xFF, 0x00, 0});  // one source; a bit per control
  putBytes(units, {9, 0x24, 0x03, 3, 0x01, 0x01, 0, kCameraUnitId, 0});

  Bytes bytes;
  putBytes(bytes, {9, 0x04, kControlInterface, 0, 0, 0x0E, 0x01, 0x00, 0});
  constexpr std::uint8_t kHeaderBytes = 13;
  putBytes(bytes, {kHeaderBytes, 0x24, 0x01, 0x10, 0x01});  // UVC 1.1
  put16(bytes, static_cast<std::uint32_t>(kHeaderBytes + units.size()));
  put32(bytes, kClockHz);
  putBytes(bytes, {1, kStreamingInterface});
  append(bytes, units);
  return bytes;
}

void putFormat(Bytes& to, std::uint8_t number, const transport::StreamType& type, double rateHz) {
  putBytes(to, {27, 0x24, 0x04, number, 1});
  put32(to, type.fourcc);
  to.insert(to.end(), std::begin(kFormatGuidTail), std::end(kFormatGuidTail));
  put8(to, bitsPerPixel(type));
  putBytes(to, {1, 0, 0, 0, 0});

  const std::uint32_t size = frameBytes(type);
  const std::uint32_t bitRate = truncateToU32(std::min(8.0 * size * rateHz, 4294967295.0));
  putBytes(to, {30, 0x24, 0x05, 1, 0});
  put16(to, type.width);
  put16(to, type.height);
  put32(to, bitRate);
  put32(to, bitRate);
  put32(to, size);
  put32(to, frameInterval(rateHz));
  put8(to, 1);
  put32(to, frameInterval(rateHz));
}

Bytes streamingDescriptors(std::span<const transport::StreamType> types, double rateHz) {
  Bytes formats;
  for (std::size_t i = 0; i < types.size(); ++i)
    putFormat(formats, static_cast<std::uint8_t>(i + 1), types[i], rateHz);
  const auto count = static_cast<std::uint8_t>(types.size());
  const auto headerBytes = static_cast<std::uint8_t>(13 + count);

  Bytes bytes;
  putBytes(bytes, {9, 0x04, kStreamingInterface, 0, 1, 0x0E, 0x02, 0x00, 0});
  putBytes(bytes, {headerBytes, 0x24, 0x01, count});
  put16(bytes, static_cast<std::uint32_t>(headerBytes + formats.size()));
  putBytes(bytes, {kStreamEndpoint, 0, 3, 0, 0, 0, 1});
  bytes.insert(bytes.end(), count, 0);  // no controls per format
  append(bytes, formats);
  putBytes(bytes, {7, 0x05, kStreamEndpoint, 0x02, 0x00, 0x02, 0});  // bulk, 512 bytes
  return bytes;
}

}  // namespace

std::uint32_t frameInterval(double rateHz) { return truncateToU32(1e7 / rateHz); }

std::uint32_t frameBytes(const transport::StreamType& type) {
  return type.width * type.height * bitsPerPixel(type) / 8;
}

Descriptors buildDescriptors(const simulation::CameraModel& model, std::uint32_t serialNumber,
                             std::span<const transport::StreamType> types, double rateHz) {
  Descriptors result;
  result.device = deviceDescriptor(model);
  Bytes interfaces;
  putBytes(interfaces, {8, 0x0B, kControlInterface, 2, 0x0E, 0x03, 0x00, 0});  // one function of two
  append(interfaces, controlDescriptors());
  append(interfaces, streamingDescriptors(types, rateHz));

  constexpr std::uint8_t kConfigurationBytes = 9;
  putBytes(result.configuration, {kConfigurationBytes, 0x02});
  put16(result.configuration, static_cast<std::uint32_t>(kConfigurationBytes + interfaces.size()));
  putBytes(result.configuration, {2, kConfigurationValue, 0, 0x80, 250});  // from the bus, 500 mA
  append(result.configuration, interfaces);

  result.texts = {{4, 0x03, 0x09, 0x04},  // US English alone
                  textDescriptor("Ombrix"),
                  textDescriptor(model.name),
                  textDescriptor(std::to_string(serialNumber))};
  return result;
}

}  // namespace virtualcamera
