#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "acquisition/backends/simulated/cameraModel.h"

namespace simulation {

inline constexpr std::size_t kCommandBytes = 16;
using CommandBytes = std::array<std::uint8_t, kCommandBytes>;

enum class FlashVariant {
  Normal,
  Erased,       ///< every byte 0xFF
  Unterminated  ///< texts fill their fields without a NUL
};

/// One command of the register protocol: "W01 0120 0001" writes, "R12 004C 0000" reads.
struct RegisterCommand {
  bool write = false;
  std::uint16_t group = 0;  ///< two digits, read as decimal
  std::uint16_t address = 0;
  std::uint16_t value = 0;
};

/// The command in 16 bytes, of which 13 are text and the rest NUL; nothing when they are malformed.
std::optional<RegisterCommand> parseCommand(std::span<const std::uint8_t> bytes);

/// The same layout with a value: what a camera answers.
CommandBytes formatReply(const RegisterCommand& command);

/// The camera's flash, address by address.
class Flash {
 public:
  Flash(const CameraModel& model, std::uint32_t serialNumber, FlashVariant variant,
        std::vector<std::uint8_t> defectMap);
  /// Copies from `address` on; whatever holds nothing reads 0xFF. The boot flash holds nothing here.
  void read(bool bootFlash, std::uint32_t address, std::span<std::uint8_t> bytes) const;

 private:
  void putText(std::uint32_t address, std::string_view text, std::size_t fieldBytes, bool terminated);
  void putWord(std::uint32_t address, std::uint16_t value);

  std::map<std::uint32_t, std::vector<std::uint8_t>> blocks;  ///< by first address, not overlapping
  bool hasArrays = false;
};

/// The camera's registers, the shutter they move and the flash they read: what stands behind the extension
/// unit. One thread at a time.
class RegisterEngine {
 public:
  RegisterEngine(const CameraModel& model, std::uint32_t serialNumber, Flash flash);

  /// Puts registers and shutter back to what they are after power-on.
  void powerOn();
  /// Takes a command of 16 bytes. A malformed one gets an empty reply.
  void command(std::span<const std::uint8_t> bytes);
  /// Answers a read of 16 bytes: flash bytes right after a flash command's reply, else the last reply.
  CommandBytes reply();
  /// The last reply without counting as a read.
  const CommandBytes& lastAnswer() const { return lastReply; }
  /// True when the next read is to carry flash bytes.
  bool flashReady() const { return flashArmed && replyTaken; }
  /// Answers that read, of any length; bytes beyond the payload size that the camera was given are 0xFF.
  void readFlash(std::span<std::uint8_t> bytes);

  bool shutterClosed() const { return closed; }
  void moveShutter(bool close) { closed = close; }
  std::uint16_t value(std::uint16_t group, std::uint16_t address) const;

 private:
  void applyWrite(const RegisterCommand& command);

  const CameraModel& model;
  std::uint32_t serialNumber;
  Flash flash;
  std::map<std::pair<std::uint16_t, std::uint16_t>, std::uint16_t> values;  ///< by group and address
  CommandBytes lastReply{};
  bool flashArmed = false;
  bool replyTaken = false;
  bool closed = false;
};

}  // namespace simulation
