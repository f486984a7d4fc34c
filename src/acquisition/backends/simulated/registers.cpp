#include "acquisition/backends/simulated/registers.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string>

#include "common/format.h"

namespace simulation {
namespace {

constexpr std::uint16_t kSystem = 1, kHollisShutter = 2, kReadout = 12, kProcessing = 13;
constexpr std::uint16_t kFlashRead = 0x0301, kFlashTarget = 0x0302, kFlashHigh = 0x0303, kFlashLow = 0x0304,
                        kFlashPayload = 0x0305;

/// Working point of a sensor out of the factory.
struct WorkingPoint {
  std::uint16_t integration, gfid, gsk, gain;
};

WorkingPoint workingPoint(const CameraModel& model) {
  switch (model.temperature) {
    case TemperatureFormat::Word320:
      return {0x01F4, 0x0A28, 0x01A4, 0x0001};
    case TemperatureFormat::Word640:
      return {0x0258, 0x0096, 0x0234, 0x0002};
    case TemperatureFormat::ReferenceColumns:
      break;
  }
  return {0x0320, 0x00A5, 0x02B7, 0x0003};
}

struct FlashArray {
  std::uint32_t address;
  std::size_t sizeBytes;
};
// The first holds the true defects; the others a pattern by which a reader can tell where it is.
constexpr FlashArray kArrays[] = {
    {0x10000, 307200}, {0x60000, 3686400}, {0x3F0000, 4915200}, {0x8A0000, 131072}, {0x8C0000, 1228800}};

template <typename Number>
bool readDigits(std::string_view text, int base, Number& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

}  // namespace

std::optional<RegisterCommand> parseCommand(std::span<const std::uint8_t> bytes) {
  if (bytes.size() != kCommandBytes) return std::nullopt;
  const std::string text(bytes.begin(), bytes.begin() + 13);
  const bool ended =
      std::all_of(bytes.begin() + 13, bytes.end(), [](std::uint8_t byte) { return byte == 0; });
  RegisterCommand command;
  command.write = text[0] == 'W';
  if (!ended || (text[0] != 'W' && text[0] != 'R') || text[3] != ' ' || text[8] != ' ') return std::nullopt;
  const std::string_view view = text;
  if (!readDigits(view.substr(1, 2), 10, command.group) ||
      !readDigits(view.substr(4, 4), 16, command.address) ||
      !readDigits(view.substr(9, 4), 16, command.value)) {
    return std::nullopt;
  }
  return command;
}

CommandBytes formatReply(const RegisterCommand& command) {
  const auto text = format("{:s}{:02d} {:04X} {:04X}", command.write ? "W" : "R", command.group,
                           command.address, command.value);
  CommandBytes bytes{};
  std::copy_n(text.begin(), std::min(text.size(), bytes.size()), bytes.begin());
  return bytes;
}

Flash::Flash(const CameraModel& model, std::uint32_t serialNumber, FlashVariant variant,
             std::vector<std::uint8_t> defectMap) {
  if (variant == FlashVariant::Erased) return;
  const bool terminated = variant == FlashVariant::Normal;
  const auto point = workingPoint(model);
  putText(0x40000, model.partNumber, 32, terminated);
  putText(0x40020, std::to_string(serialNumber), 16, terminated);
  putWord(0x40030, point.integration);
  putWord(0x40032, point.gfid);
  putWord(0x40034, point.gsk);
  putWord(0x40036, point.gain);
  putWord(0x40038, static_cast<std::uint16_t>(model.rateHz));
  defectMap.resize(kArrays[0].sizeBytes, 0);
  blocks.emplace(kArrays[0].address, std::move(defectMap));
  hasArrays = true;
}

void Flash::putText(std::uint32_t address, std::string_view text, std::size_t fieldBytes, bool terminated) {
  std::vector<std::uint8_t> bytes(text.begin(), text.end());
  if (terminated) {
    bytes.push_back(0);
  } else {
    while (bytes.size() < fieldBytes) bytes.push_back(' ');
  }
  bytes.resize(fieldBytes, 0xFF);
  blocks.emplace(address, std::move(bytes));
}

void Flash::putWord(std::uint32_t address, std::uint16_t value) {
  blocks.emplace(address, std::vector<std::uint8_t>{static_cast<std::uint8_t>(value & 0xFF),
                                                    static_cast<std::uint8_t>(value >> 8)});
}

void Flash::read(bool bootFlash, std::uint32_t address, std::span<std::uint8_t> bytes) const {
  std::fill(bytes.begin(), bytes.end(), std::uint8_t{0xFF});
  if (bootFlash) return;
  const std::uint64_t from = address, to = from + bytes.size();
  for (const auto& [start, block] : blocks) {
    const std::uint64_t first = std::max<std::uint64_t>(from, start);
    const std::uint64_t last = std::min<std::uint64_t>(to, start + block.size());
    if (first >= last) continue;
    std::copy(block.begin() + static_cast<std::ptrdiff_t>(first - start),
              block.begin() + static_cast<std::ptrdiff_t>(last - start),
              bytes.begin() + static_cast<std::ptrdiff_t>(first - from));
  }
  for (std::size_t i = 0; hasArrays && i < bytes.size(); ++i) {
    for (const auto& array : std::span(kArrays).subspan(1)) {
      const std::uint64_t within = from + i - array.address;  // wraps to a large number below the array
      if (within < array.sizeBytes) bytes[i] = static_cast<std::uint8_t>((within * 7 + (within >> 8)) & 0x7F);
    }
  }
}

RegisterEngine::RegisterEngine(const CameraModel& cameraModel, std::uint32_t serial, Flash cameraFlash)
    : model(cameraModel), serialNumber(serial), flash(std::move(cameraFlash)) {
  powerOn();
}

void RegisterEngine::powerOn() {
  values.clear();
  lastReply = {};
  flashArmed = replyTaken = closed = false;
  const auto point = workingPoint(model);
  // A serial reads as a decimal number: a, then b in two digits, then c in three.
  const auto a = static_cast<std::uint16_t>(serialNumber / 100000);
  const auto b = static_cast<std::uint16_t>(serialNumber / 1000 % 100);
  const auto c = static_cast<std::uint16_t>(serialNumber % 1000);
  if (model.temperature == TemperatureFormat::Word320) {
    values[{kProcessing, 0x0003}] = a;
    values[{kProcessing, 0x0004}] = static_cast<std::uint16_t>(b << 10 | c);
    values[{kProcessing, 0x060C}] = point.gsk;
    values[{kProcessing, 0x060D}] = point.gfid;
    values[{kProcessing, 0x060E}] = point.integration;
    return;
  }
  values[{kReadout, 0x0000}] = a >> 8;
  values[{kReadout, 0x0001}] = a & 0xFF;
  values[{kReadout, 0x0002}] = static_cast<std::uint16_t>(b << 2 | c >> 8);
  values[{kReadout, 0x0003}] = c & 0xFF;
  values[{kReadout, 0x004C}] = point.gsk >> 8;
  values[{kReadout, 0x004D}] = point.gsk & 0xFF;
  values[{kReadout, 0x004B}] = point.gfid;
  values[{kReadout, 0x004F}] = point.integration >> 8;
  values[{kReadout, 0x0050}] = point.integration & 0xFF;
  values[{kReadout, 0x0040}] = point.gain;
  values[{kReadout, 0x005B}] = 0x0011;
  values[{kReadout, 0x0099}] = 0x0022;
}

std::uint16_t RegisterEngine::value(std::uint16_t group, std::uint16_t address) const {
  const auto found = values.find({group, address});
  return found == values.end() ? std::uint16_t{0} : found->second;
}

void RegisterEngine::command(std::span<const std::uint8_t> bytes) {
  flashArmed = false;
  replyTaken = false;
  lastReply = {};
  auto parsed = parseCommand(bytes);
  if (!parsed) return;
  if (parsed->write) {
    applyWrite(*parsed);
  } else {
    parsed->value = value(parsed->group, parsed->address);
  }
  lastReply = formatReply(*parsed);
}

void RegisterEngine::applyWrite(const RegisterCommand& written) {
  values[{written.group, written.address}] = written.value;
  flashArmed = written.group == kSystem && written.address == kFlashRead;
  const bool bramble = model.temperature == TemperatureFormat::Word640;
  const bool hollis = model.temperature == TemperatureFormat::ReferenceColumns;
  if (written.value != 1) return;
  if (bramble && written.group == kSystem && written.address == 0x0020) closed = true;
  if (bramble && written.group == kSystem && written.address == 0x0021) closed = false;
  if (hollis && written.group == kHollisShutter && written.address == 0x0032) closed = true;
  if (hollis && written.group == kHollisShutter && written.address == 0x0031) closed = false;
}

CommandBytes RegisterEngine::reply() {
  replyTaken = true;
  return lastReply;
}

void RegisterEngine::readFlash(std::span<std::uint8_t> bytes) {
  flashArmed = false;
  std::fill(bytes.begin(), bytes.end(), std::uint8_t{0xFF});
  const auto payload = std::min<std::size_t>(bytes.size(), value(kSystem, kFlashPayload));
  const std::uint32_t address = std::uint32_t{value(kSystem, kFlashHigh)} << 16 | value(kSystem, kFlashLow);
  flash.read(value(kSystem, kFlashTarget) == 1, address, bytes.first(payload));
}

}  // namespace simulation
