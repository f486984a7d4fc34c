// The flash members of CameraRegisters: reading the camera's flash and showing its parameter block.

#include <algorithm>
#include <bit>

#include "acquisition/registers/CameraRegisters.h"
#include "acquisition/registers/registerReply.h"
#include "acquisition/registers/traceColours.h"
#include "acquisition/transport/extensionUnit.h"
#include "acquisition/transport/transportError.h"
#include "common/format.h"
#include "core/logger.h"

using registers::Parameter;
using registers::ParameterKind;

namespace {

/// Largest power of two that the 16-bit size register can hold.
constexpr std::size_t kLargestTransfer = 32768;

/// " {:02x}" per byte, by hand: a dump has ten million.
std::string hexDump(std::span<const std::uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text(bytes.size() * 3, ' ');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text[i * 3 + 1] = kDigits[bytes[i] >> 4];
    text[i * 3 + 2] = kDigits[bytes[i] & 15];
  }
  return text;
}

}  // namespace

bool CameraRegisters::readFlash(bool bootFlash, std::uint32_t address, std::span<std::uint8_t> bytes) {
  constexpr std::uint64_t kFlashEnd = 0x100000000;
  if (address + std::uint64_t{bytes.size()} > kFlashEnd) {
    logger::error(format("Flash read of {:d} bytes at 0x{:08x} is out of range", bytes.size(), address),
                  LOG_HERE);
    return false;
  }
  // The selector can name powers of two only.
  while (!bytes.empty()) {
    const std::size_t size = std::min(std::bit_floor(bytes.size()), kLargestTransfer);
    if (!readFlashBlock(bootFlash, address, bytes.first(size))) return false;
    address += static_cast<std::uint32_t>(size);
    bytes = bytes.subspan(size);
  }
  return true;
}

bool CameraRegisters::readFlashBlock(bool bootFlash, std::uint32_t address, std::span<std::uint8_t> bytes) {
  const Command setUp[] = {
      {format("W01 0302 {:04X}", bootFlash ? 1 : 0), "REG_FLASH_TARGET_BOOT_FLASH"},
      {format("W01 0303 {:04X}", address >> 16), "REG_FLASH_ADDR_MSB"},
      {format("W01 0304 {:04X}", address & 0xFFFF), "REG_FLASH_ADDR_LSB"},
      {format("W01 0305 {:04X}", bytes.size()), "REG_FLASH_PAYLOAD_SIZE"},
      {"W01 0301 0000", "REG_FLASH_DIRECT_READ_ENABLE"},
  };
  MutexLock lock(commandMutex);
  try {
    for (const auto& [command, name] : setUp) exchange(command, name);
    fetchReply("Flash", bytes, false);
    return true;
  } catch (const transport::TransportError&) {
    return false;
  }
}

bool CameraRegisters::getParameters(bool dump, const TextSink& sink) {
  bool complete = true;
  for (const Parameter& parameter : registers::parameterValues()) {
    if (!showValue(parameter, sink)) complete = false;
  }
  for (const Parameter& parameter : registers::parameterArrays()) {
    if (!showArray(parameter, dump, sink)) complete = false;
  }
  return complete;
}

bool CameraRegisters::showValue(const Parameter& parameter, const TextSink& sink) {
  std::array<std::uint8_t, 32> storage{};
  const std::span<std::uint8_t> block = std::span(storage).first(parameter.sizeBytes);
  if (!readFlash(false, parameter.address, block)) return false;
  using registers::kDarkGrey;
  using registers::kLightGrey;
  if (registers::isErased(block)) {
    sink(format("{:s}{:s}: Invalid data\n", kDarkGrey, parameter.name));
  } else if (parameter.kind == ParameterKind::text) {
    sink(format("{:s}{:s}: {:s}{:s}\n", kDarkGrey, parameter.name, kLightGrey, registers::flashText(block)));
  } else {
    const int number = block[0] | (block[1] << 8);
    sink(format("{:s}{:s}: {:s}{:d}\n", kDarkGrey, parameter.name, kLightGrey, number));
  }
  return true;
}

bool CameraRegisters::showArray(const Parameter& parameter, bool dump, const TextSink& sink) {
  sink(format("{:s}{:s}: {:s}<array>", registers::kDarkGrey, parameter.name, registers::kLightGrey));
  bool complete = true;
  std::vector<std::uint8_t> block;
  for (std::uint32_t done = 0; dump && done < parameter.sizeBytes;) {
    const auto size = std::min<std::uint32_t>(parameter.sizeBytes - done, kLargestTransfer);
    block.resize(size);
    complete = readFlash(false, parameter.address + done, block);
    if (!complete) break;
    sink(hexDump(block));
    done += size;
  }
  sink("\n");
  return complete;
}

std::string CameraRegisters::readPartNumber() {
  std::array<std::uint8_t, registers::kPartNumber.sizeBytes> block{};
  if (!readFlash(false, registers::kPartNumber.address, block)) return {};
  return registers::flashText(block);
}

std::string CameraRegisters::readSerialText() {
  std::array<std::uint8_t, registers::kSerialNumber.sizeBytes> block{};
  std::string text;
  if (readFlash(false, registers::kSerialNumber.address, block)) text = registers::flashText(block);
  if (!text.empty()) return text;
  const auto number = static_cast<std::uint32_t>(readSerialNumber());
  return number == 0 ? std::string() : format("{:d}", number);
}
