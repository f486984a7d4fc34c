#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace simulation {

/// What can go wrong with a camera. The words in faultTable (faults.cpp) are the scenario's spelling.
enum class FaultKind {
  Unplug,
  Replug,
  Stall,             ///< no samples, no word about it
  Resume,            ///< ends a stall
  ShortSamples,      ///< count: half the bytes
  EmptySamples,      ///< count: no bytes
  MissingSamples,    ///< count: a delivery without a sample
  OversizeSamples,   ///< count: 4,096 bytes more
  FailedSamples,     ///< count: an I/O error instead of a sample
  DuplicateSamples,  ///< count: the sample before, once more
  RefuseStart,       ///< count of first requests refused
  RefuseType,        ///< count of type selections refused
  FailRearm,         ///< count of later requests refused
  RegisterFailure,   ///< the amount-th register transfer from now on fails with `error`
  SlowRegister,      ///< count of register transfers that take `amount` ms
  GarbageReplies,    ///< count
  StaleReplies,      ///< count: the reply before, once more
  EmptyReplies,      ///< count
  LowerCaseReplies,  ///< count
  Rate,              ///< amount: samples per second, 1 to 500; 0 = the model's own
  Jitter,            ///< amount: each sample up to so many ms early or late
  TemperatureRamp,   ///< amount: detector temperature changes by so many K/s
  SlowStop,          ///< amount: the delivery thread needs so many ms to end
  StuckShutter,      ///< the shutter stays where it is
  Clear              ///< ends all of the above except an unplug
};

inline constexpr int kAlways = 0x7FFFFFFF;

/// One fault and, in a scenario, when it strikes: at a frame number or a number of seconds of the camera's
/// own time; at once without either.
struct Fault {
  FaultKind kind = FaultKind::Clear;
  int count = 1;
  double amount = 0.0;
  int error = 0;  ///< status of a failing register transfer, negative
  std::optional<std::uint64_t> atFrame;
  std::optional<double> atSeconds;
};

/// Reads "NAME[:NUMBER[:WORD]][@FRAME | @SECONDSs]", for example "unplug@120", "short:3@2.5s",
/// "register:4:EPIPE", "slow-register:200:5". An empty result means success, otherwise it is the reason.
std::string parseFault(std::string_view text, Fault& fault);

/// The faults at work on one camera. Plain data; its owner guards it.
struct FaultState {
  bool unplugged = false;
  bool stalled = false;
  bool stuckShutter = false;
  int shortSamples = 0, emptySamples = 0, missingSamples = 0, oversizeSamples = 0, failedSamples = 0,
      duplicateSamples = 0;
  int refuseStart = 0, refuseType = 0, failRearm = 0;
  int registerCountdown = 0;  ///< transfers until the one that fails, 0 = none
  int registerError = 0;
  int slowRegisterCalls = 0;
  double slowRegisterMs = 0.0;
  int garbageReplies = 0, staleReplies = 0, emptyReplies = 0, lowerCaseReplies = 0;
  double rateHz = 0.0;
  double jitterMs = 0.0;
  double rampKelvinPerSecond = 0.0;
  double slowStopMs = 0.0;

  void apply(const Fault& fault);
  /// Uses up one of a counted fault; false when none is left.
  static bool take(int& count);
};

}  // namespace simulation
