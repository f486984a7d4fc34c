#include "acquisition/registers/CameraRegisters.h"

#include <algorithm>

#include "acquisition/registers/registerReply.h"
#include "acquisition/registers/traceColours.h"
#include "acquisition/transport/extensionUnit.h"
#include "acquisition/transport/transportError.h"
#include "common/format.h"
#include "core/logger.h"
#include "core/settings.h"

namespace {

constexpr std::int32_t kVendor = 0x5c2b;
constexpr std::int32_t kMarlow3 = 0x96ea;
constexpr std::int32_t kBramble6 = 0x96eb;
constexpr std::int32_t kHollis12 = 0x96ec;

bool tracing() { return settings::current().UVCVerbose.load(); }

/// One side of a transfer for the log: name, arrow, text between quotes.
void trace(const std::string& name, const char* arrow, const std::string& text) {
  using namespace registers;
  logger::trace(format("{:s}{:s}", name, kTraceColour) +
                    format(" {:s}{:s}{:s} \"{:s}\"", kDarkGrey, arrow, kTraceColour, text),
                LOG_HERE);
}

/// a, then b in two digits, then c in three.
std::int32_t serialNumber(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  return static_cast<std::int32_t>(c + (a * 100 + b) * 1000);
}

}  // namespace

CameraRegisters::~CameraRegisters() { MutexLock lock(commandMutex); }

void CameraRegisters::writeCommand(const std::string& command, const std::string& name) {
  std::array<std::uint8_t, registers::kBlockBytes> block{};
  std::copy_n(command.begin(), std::min(command.size(), block.size()), block.begin());
  if (tracing()) trace(name, "←", command);
  link.transferUnit(transport::selectorForSize(block.size()), transport::kTransferSet, block);
}

void CameraRegisters::fetchReply(const std::string& name, std::span<std::uint8_t> reply, bool traced) {
  link.transferUnit(transport::selectorForSize(reply.size()), transport::kTransferGet, reply);
  if (traced) trace(name, "→", registers::printableReply(reply));
}

std::uint16_t CameraRegisters::exchange(const std::string& command, const std::string& name) {
  writeCommand(command, name);
  std::array<std::uint8_t, registers::kBlockBytes> reply{};
  fetchReply(name, reply, tracing());
  return registers::replyValue(reply);
}

std::uint16_t CameraRegisters::sendCommand(const std::string& command, const std::string& name) {
  MutexLock lock(commandMutex);
  try {
    return exchange(command, name);
  } catch (const transport::TransportError&) {
    return 0;
  }
}

bool CameraRegisters::sendList(const CommandList& list) {
  MutexLock lock(commandMutex);
  try {
    for (const auto& [command, name] : list) exchange(command, name);
    return true;
  } catch (const transport::TransportError&) {
    return false;
  }
}

bool CameraRegisters::readResponse(const std::string& name, unsigned char* buffer,
                                   const unsigned long long& size, const bool& traced) {
  if (!buffer || size == 0) return false;
  MutexLock lock(commandMutex);
  buffer[0] = 0;
  try {
    fetchReply(name, {buffer, static_cast<std::size_t>(size)}, traced);
  } catch (const transport::TransportError&) {
    return false;
  }
  buffer[size] = 0;
  return true;
}

std::int32_t CameraRegisters::readSerialNumber() {
  if (link.vendorId() != kVendor) return 0;
  MutexLock lock(commandMutex);
  try {
    if (link.productId() == kMarlow3) {
      const std::uint32_t high = exchange("R13 0003 0000", "SYS_ROIC_SERIAL_MSB");
      const std::uint32_t low = exchange("R13 0004 0000", "SYS_ROIC_SERIAL_LSB");
      return serialNumber(high, low >> 10, low & 0x3FF);
    }
    if (link.productId() == kBramble6 || link.productId() == kHollis12) {
      const std::uint32_t na = exchange("R12 0000 0000", "SERIAL_NB_A");
      const std::uint32_t nb = exchange("R12 0001 0000", "SERIAL_NB_B");
      const std::uint32_t nc = exchange("R12 0002 0000", "SERIAL_NB_C");
      const std::uint32_t nd = exchange("R12 0003 0000", "SERIAL_NB_D");
      return serialNumber(((na << 8) | nb) & 0xFFFF, (nc >> 2) & 31, ((nc & 3) << 8) | nd);
    }
  } catch (const transport::TransportError&) {
  }
  return 0;
}

bool CameraRegisters::readSensorConfiguration(std::array<std::uint16_t, 4>& values) {
  MutexLock lock(commandMutex);
  values.fill(0);
  try {
    const unsigned gskHigh = exchange("R12 004C 0000", "DACGSK_A");
    const unsigned gskLow = exchange("R12 004D 0000", "DACGSK_B");
    const std::uint16_t gfid = exchange("R12 004B 0000", "DACGFID");
    const unsigned integrationHigh = exchange("R12 004F 0000", "INTEGRATION_A");
    const unsigned integrationLow = exchange("R12 0050 0000", "INTEGRATION_B");
    // Read and dropped: the sequence is the camera's.
    exchange("R12 005B 0000", "CONFIG_A");
    exchange("R12 0099 0000", "CONFIG_C");
    const std::uint16_t gain = exchange("R12 0040 0000", "GAIN_IMAGE");
    values = {static_cast<std::uint16_t>((integrationHigh << 8) | integrationLow), gfid,
              static_cast<std::uint16_t>((gskHigh << 8) | gskLow), gain};
    return true;
  } catch (const transport::TransportError&) {
    return false;
  }
}

bool CameraRegisters::readCurrentAGC(std::array<std::uint16_t, 4>& values) {
  MutexLock lock(commandMutex);
  const std::uint16_t fourth = values[3];
  values = {0, 0, 0, fourth};
  try {
    const std::uint16_t gsk = exchange("R13 060C 0000", "AGC_CURRENT_GSK");
    const std::uint16_t gfid = exchange("R13 060D 0000", "AGC_CURRENT_GFID");
    const std::uint16_t tint = exchange("R13 060E 0000", "AGC_CURRENT_TINT");
    values = {tint, gfid, gsk, fourth};
    return true;
  } catch (const transport::TransportError&) {
    return false;
  }
}

bool CameraRegisters::sendOne(const std::string& command, const std::string& name) {
  return sendList({{command, name}});
}

bool CameraRegisters::setGSK(std::uint16_t value) {
  return sendList({{format("W12 004C {:04X}", value >> 8), "DACGSK_A"},
                   {format("W12 004D {:04X}", value & 0xFF), "DACGSK_B"}});
}

bool CameraRegisters::setIntegrationTime(std::uint16_t value) {
  return sendList({{format("W12 004F {:04X}", value >> 8), "INTEGRATION_A"},
                   {format("W12 0050 {:04X}", value & 0xFF), "INTEGRATION_B"}});
}

bool CameraRegisters::setGFID(std::uint16_t value) {
  return sendOne(format("W12 004B {:04X}", value), "DACGFID");
}

bool CameraRegisters::setImageGain(std::uint16_t value) {
  return sendOne(format("W12 0040 {:04X}", value), "GAIN_IMAGE");
}

bool CameraRegisters::setCurrentGSK(std::uint16_t value) {
  return sendOne(format("W13 060C {:04X}", value), "AGC_CURRENT_GSK");
}

bool CameraRegisters::setCurrentGFID(std::uint16_t value) {
  return sendOne(format("W13 060D {:04X}", value), "AGC_CURRENT_GFID");
}

bool CameraRegisters::setCurrentTINT(std::uint16_t value) {
  return sendOne(format("W13 060E {:04X}", value), "AGC_CURRENT_TINT");
}

bool CameraRegisters::writeCoreConfiguration(std::uint16_t value) {
  return sendOne(format("W00 0005 {:04X}", value), "Core configuration");
}

bool CameraRegisters::hasShutter() const {
  return link.vendorId() == kVendor && (link.productId() == kBramble6 || link.productId() == kHollis12);
}

bool CameraRegisters::setShutter(const bool& close) {
  if (!hasShutter()) return true;
  const bool hollis = link.productId() == kHollis12;
  const char* const command = hollis  ? (close ? "W02 0032 0001" : "W02 0031 0001")
                              : close ? "W01 0020 0001"
                                      : "W01 0021 0001";

  MutexLock lock(commandMutex);
  try {
    writeCommand(command, close ? "Close shutter" : "Open shutter");
    return true;
  } catch (const transport::TransportError&) {
    return false;
  }
}
