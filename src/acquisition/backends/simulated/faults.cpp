#include "acquisition/backends/simulated/faults.h"

#include <cerrno>
#include <charconv>
#include <iterator>

#include "acquisition/backends/simulated/numberText.h"
#include "common/format.h"
#include "common/numerics.h"

namespace simulation {
namespace {

/// What the number after a fault's name means.
enum class Argument { None, Count, Amount, AmountAndCount, TransferAndError };

struct FaultRow {
  std::string_view name;
  FaultKind kind;
  Argument argument;
  int defaultCount;
  double low, high;  ///< range of the amount
};

constexpr FaultRow kFaults[] = {
    {"unplug", FaultKind::Unplug, Argument::None, 1, 0, 0},
    {"replug", FaultKind::Replug, Argument::None, 1, 0, 0},
    {"stall", FaultKind::Stall, Argument::None, 1, 0, 0},
    {"resume", FaultKind::Resume, Argument::None, 1, 0, 0},
    {"short", FaultKind::ShortSamples, Argument::Count, 1, 0, 0},
    {"empty", FaultKind::EmptySamples, Argument::Count, 1, 0, 0},
    {"missing", FaultKind::MissingSamples, Argument::Count, 1, 0, 0},
    {"oversize", FaultKind::OversizeSamples, Argument::Count, 1, 0, 0},
    {"failed", FaultKind::FailedSamples, Argument::Count, 1, 0, 0},
    {"duplicate", FaultKind::DuplicateSamples, Argument::Count, 1, 0, 0},
    {"refuse-start", FaultKind::RefuseStart, Argument::Count, kAlways, 0, 0},
    {"refuse-type", FaultKind::RefuseType, Argument::Count, kAlways, 0, 0},
    {"fail-rearm", FaultKind::FailRearm, Argument::Count, 1, 0, 0},
    {"register", FaultKind::RegisterFailure, Argument::TransferAndError, 1, 1, 1e6},
    {"slow-register", FaultKind::SlowRegister, Argument::AmountAndCount, 1, 0, 5000},
    {"garbage-reply", FaultKind::GarbageReplies, Argument::Count, 1, 0, 0},
    {"stale-reply", FaultKind::StaleReplies, Argument::Count, 1, 0, 0},
    {"empty-reply", FaultKind::EmptyReplies, Argument::Count, 1, 0, 0},
    {"lower-case-reply", FaultKind::LowerCaseReplies, Argument::Count, 1, 0, 0},
    {"rate", FaultKind::Rate, Argument::Amount, 1, 1, 500},
    {"jitter", FaultKind::Jitter, Argument::Amount, 1, 0, 1000},
    {"ramp", FaultKind::TemperatureRamp, Argument::Amount, 1, -10, 10},
    {"slow-stop", FaultKind::SlowStop, Argument::Amount, 1, 0, 60000},
    {"stuck-shutter", FaultKind::StuckShutter, Argument::None, 1, 0, 0},
    {"clear", FaultKind::Clear, Argument::None, 1, 0, 0},
};

struct ErrorRow {
  std::string_view name;
  int status;
};
constexpr ErrorRow kErrors[] = {{"EPIPE", -EPIPE}, {"EIO", -EIO}, {"ETIMEDOUT", -ETIMEDOUT}};

const FaultRow* findFault(std::string_view name) {
  for (const auto& row : kFaults) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

/// Cuts the text behind the first `separator` off; empty when there is none.
std::string_view cutAt(std::string_view& text, char separator) {
  const auto position = text.find(separator);
  if (position == std::string_view::npos) return {};
  const auto rest = text.substr(position + 1);
  text = text.substr(0, position);
  return rest;
}

bool parseCount(std::string_view text, int& count) {
  std::uint64_t number = 0;
  if (!parseWhole(text, 1, 1000000, number)) return false;
  count = static_cast<int>(number);
  return true;
}

std::string parseTime(std::string_view text, Fault& fault) {
  std::uint64_t frame = 0;
  double seconds = 0.0;
  if (parseWhole(text, 0, UINT64_MAX, frame)) {
    fault.atFrame = frame;
  } else if (!text.empty() && text.back() == 's' &&
             parseReal(text.substr(0, text.size() - 1), 0.0, 1e9, seconds)) {
    fault.atSeconds = seconds;
  } else {
    return format("'{:s}' is neither a frame number nor a time like 2.5s", text);
  }
  return {};
}

std::string parseArguments(const FaultRow& row, std::string_view number, std::string_view word,
                           Fault& fault) {
  const bool takesNumber = row.argument != Argument::None;
  const bool takesWord =
      row.argument == Argument::AmountAndCount || row.argument == Argument::TransferAndError;
  if ((!number.empty() && !takesNumber) || (!word.empty() && !takesWord)) {
    return format("fault '{:s}' takes fewer arguments", row.name);
  }
  if (row.argument == Argument::Count) {
    if (!number.empty() && !parseCount(number, fault.count))
      return format("'{:s}' is no count of at least 1", number);
  } else if (takesNumber && !parseReal(number, row.low, row.high, fault.amount)) {
    return format("fault '{:s}' needs a number within {:g}..{:g}", row.name, row.low, row.high);
  }
  if (row.argument == Argument::AmountAndCount && !word.empty() && !parseCount(word, fault.count)) {
    return format("'{:s}' is no count of at least 1", word);
  }
  if (row.argument == Argument::TransferAndError) {
    fault.error = -EIO;
    if (word.empty()) return {};
    for (const auto& error : kErrors) {
      if (error.name == word) {
        fault.error = error.status;
        return {};
      }
    }
    return format("'{:s}' is none of EPIPE, EIO, ETIMEDOUT", word);
  }
  return {};
}

}  // namespace

std::string parseFault(std::string_view text, Fault& fault) {
  const auto hasTime = text.find('@') != std::string_view::npos;
  const auto time = cutAt(text, '@');
  auto number = cutAt(text, ':');
  const auto word = cutAt(number, ':');
  const auto* row = findFault(text);
  if (row == nullptr) return format("unknown fault '{:s}'", text);
  Fault result;
  result.kind = row->kind;
  result.count = row->defaultCount;
  auto reason = parseArguments(*row, number, word, result);
  if (reason.empty() && hasTime) reason = parseTime(time, result);
  if (reason.empty()) fault = result;
  return reason;
}

bool FaultState::take(int& count) {
  if (count <= 0) return false;
  if (count != kAlways) --count;
  return true;
}

void FaultState::apply(const Fault& fault) {
  switch (fault.kind) {
    case FaultKind::Unplug:
      unplugged = true;
      break;
    case FaultKind::Replug:
      unplugged = false;
      break;
    case FaultKind::Stall:
      stalled = true;
      break;
    case FaultKind::Resume:
      stalled = false;
      break;
    case FaultKind::ShortSamples:
      shortSamples = fault.count;
      break;
    case FaultKind::EmptySamples:
      emptySamples = fault.count;
      break;
    case FaultKind::MissingSamples:
      missingSamples = fault.count;
      break;
    case FaultKind::OversizeSamples:
      oversizeSamples = fault.count;
      break;
    case FaultKind::FailedSamples:
      failedSamples = fault.count;
      break;
    case FaultKind::DuplicateSamples:
      duplicateSamples = fault.count;
      break;
    case FaultKind::RefuseStart:
      refuseStart = fault.count;
      break;
    case FaultKind::RefuseType:
      refuseType = fault.count;
      break;
    case FaultKind::FailRearm:
      failRearm = fault.count;
      break;
    case FaultKind::RegisterFailure:
      registerCountdown = truncateToI32(fault.amount);
      registerError = fault.error;
      break;
    case FaultKind::SlowRegister:
      slowRegisterMs = fault.amount;
      slowRegisterCalls = fault.count;
      break;
    case FaultKind::GarbageReplies:
      garbageReplies = fault.count;
      break;
    case FaultKind::StaleReplies:
      staleReplies = fault.count;
      break;
    case FaultKind::EmptyReplies:
      emptyReplies = fault.count;
      break;
    case FaultKind::LowerCaseReplies:
      lowerCaseReplies = fault.count;
      break;
    case FaultKind::Rate:
      rateHz = fault.amount;
      break;
    case FaultKind::Jitter:
      jitterMs = fault.amount;
      break;
    case FaultKind::TemperatureRamp:
      rampKelvinPerSecond = fault.amount;
      break;
    case FaultKind::SlowStop:
      slowStopMs = fault.amount;
      break;
    case FaultKind::StuckShutter:
      stuckShutter = true;
      break;
    case FaultKind::Clear: {
      const bool stillUnplugged = unplugged;
      *this = FaultState();
      unplugged = stillUnplugged;
      break;
    }
  }
}

}  // namespace simulation
