#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "acquisition/registers/parameterBlock.h"
#include "acquisition/registers/registerLink.h"
#include "common/mutex.h"

/// Register commands of one camera: 13 characters like "W13 0201 0000" (letter and group, address, value),
/// one reply each. Any thread may call; one mutex per camera keeps a command with its reply and a flash read
/// with its set-up together.
///
/// No member throws: a failed transfer has been logged by the link, and the answer is false or the neutral
/// value. After a failure the rest of a sequence is not sent, since every transfer may take seconds.
class CameraRegisters {
 public:
  using Command = std::pair<std::string, std::string>;  ///< command text, register name for the trace
  using CommandList = std::vector<Command>;
  using TextSink = std::function<void(std::string_view)>;

  /// `connection` must outlive the object.
  explicit CameraRegisters(RegisterLink& connection) : link(connection) {}
  /// Waits for a transfer in progress on another thread.
  ~CameraRegisters();
  CameraRegisters(const CameraRegisters&) = delete;
  CameraRegisters& operator=(const CameraRegisters&) = delete;

  /// Sends one command and returns the 16-bit value of its reply; 0 when the transfer fails or the reply
  /// carries no digits.
  std::uint16_t sendCommand(const std::string& command, const std::string& name) EXCLUDES(commandMutex);
  /// Sends the commands in order, each with its reply. True when all went out; an empty list is a success.
  bool sendList(const CommandList& list) EXCLUDES(commandMutex);
  /// Fetches a reply of `size` bytes into `buffer`, which has room for one byte more: the terminating NUL.
  bool readResponse(const std::string& name, unsigned char* buffer, const unsigned long long& size,
                    const bool& traced) EXCLUDES(commandMutex);

  /// The camera's serial number; 0 for other vendors' cameras, unknown products and failed reads.
  std::int32_t readSerialNumber() EXCLUDES(commandMutex);
  /// {integration time, GFID, GSK, image gain} of "Bramble 6" and "Hollis 12". Failure: false and zeros.
  bool readSensorConfiguration(std::array<std::uint16_t, 4>& values) EXCLUDES(commandMutex);
  /// {TINT, GFID, GSK, unchanged} of "Marlow 3". Failure: false and zeros.
  bool readCurrentAGC(std::array<std::uint16_t, 4>& values) EXCLUDES(commandMutex);

  bool setGSK(std::uint16_t value);
  bool setGFID(std::uint16_t value);
  bool setIntegrationTime(std::uint16_t value);
  bool setImageGain(std::uint16_t value);
  bool setCurrentGSK(std::uint16_t value);   ///< "Marlow 3"
  bool setCurrentGFID(std::uint16_t value);  ///< "Marlow 3"
  bool setCurrentTINT(std::uint16_t value);  ///< "Marlow 3"

  bool hasShutter() const;
  /// Moves the shutter; cameras without one get nothing sent, which is a success. No reply is read.
  bool setShutter(const bool& close) EXCLUDES(commandMutex);
  /// Writes the core's configuration register, as start-up does.
  bool writeCoreConfiguration(std::uint16_t value);

  /// Fills `bytes` from flash address `address` on, in transfers whose sizes are powers of two, at most
  /// 32,768 bytes. Other commands may go between two transfers of a long read.
  bool readFlash(bool bootFlash, std::uint32_t address, std::span<std::uint8_t> bytes) EXCLUDES(commandMutex);
  /// Shows the parameter block; `sink` gets pieces of text, in order, each line ended by a line feed. With
  /// `dump` the arrays' bytes are shown as well, which reads 10 MB. False when a read failed.
  bool getParameters(bool dump, const TextSink& sink);
  /// The part number in the camera's flash; empty when erased, unprintable or unreadable.
  std::string readPartNumber();
  /// The serial text in flash; where it is erased or unprintable the number of `readSerialNumber` in decimal,
  /// and an empty text when that is 0.
  std::string readSerialText();

 private:
  void writeCommand(const std::string& command, const std::string& name) REQUIRES(commandMutex);
  std::uint16_t exchange(const std::string& command, const std::string& name) REQUIRES(commandMutex);
  void fetchReply(const std::string& name, std::span<std::uint8_t> reply, bool traced) REQUIRES(commandMutex);
  bool sendOne(const std::string& command, const std::string& name);
  bool readFlashBlock(bool bootFlash, std::uint32_t address, std::span<std::uint8_t> bytes);
  bool showValue(const registers::Parameter& parameter, const TextSink& sink);
  bool showArray(const registers::Parameter& parameter, bool dump, const TextSink& sink);

  RegisterLink& link;
  Mutex commandMutex{LockRank::registers};
};
