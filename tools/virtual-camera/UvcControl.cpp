#include "tools/virtual-camera/UvcControl.h"

#include <algorithm>
#include <cerrno>

#include "common/littleEndian.h"
#include "tools/virtual-camera/PayloadCutter.h"

namespace virtualcamera {
namespace {

enum RequestType : std::uint8_t {
  kToHost = 0x80,
  kClassRequest = 0x20,
  kKindMask = 0x60,
  kRecipientMask = 0x1F,
  kEndpointRecipient = 0x02
};
enum StandardRequest : std::uint8_t {
  kGetStatus = 0,
  kClearFeature = 1,
  kSetFeature = 3,
  kGetDescriptor = 6,
  kGetConfiguration = 8,
  kSetConfiguration = 9,
  kGetInterface = 10,
  kSetInterface = 11
};
enum DescriptorType : std::uint8_t { kDevice = 1, kConfiguration = 2, kText = 3 };
enum ClassRequest : std::uint8_t {
  kSetCur = 0x01,
  kGetCur = 0x81,
  kGetMin = 0x82,
  kGetMax = 0x83,
  kGetRes = 0x84,
  kGetLen = 0x85,
  kGetInfo = 0x86,
  kGetDef = 0x87
};
enum StreamControl : std::uint8_t { kProbe = 1, kCommit = 2 };
constexpr std::uint8_t kErrorCodeControl = 2;
constexpr std::uint8_t kCanGet = 1, kCanSet = 2;
constexpr std::uint8_t kCommandControl = 5;  // the one that takes commands

// Why a request was stalled, as UVC's request error code control tells it.
enum Reason : std::uint8_t {
  kNoReason = 0,
  kInvalidUnit = 5,
  kInvalidControl = 6,
  kInvalidRequest = 7,
  kInvalidValue = 8
};

// Places in the block that host and camera negotiate by.
constexpr std::size_t kFormatAt = 2, kFrameAt = 3, kIntervalAt = 4, kFrameSizeAt = 18, kPayloadAt = 22,
                      kClockAt = 26;

ControlAnswer give(const SetupPacket& setup, std::span<const std::uint8_t> bytes) {
  ControlAnswer answer;
  const auto count = static_cast<std::ptrdiff_t>(std::min<std::size_t>(setup.length, bytes.size()));
  answer.bytes.assign(bytes.begin(), bytes.begin() + count);
  return answer;
}

ControlAnswer give16(const SetupPacket& setup, std::size_t value) {
  std::array<std::uint8_t, 2> bytes{};
  storeLittle16(bytes.data(), static_cast<std::uint16_t>(value));
  return give(setup, bytes);
}

ControlAnswer give8(const SetupPacket& setup, std::uint8_t value) {
  return give(setup, std::span(&value, 1));
}

}  // namespace

UvcControl::UvcControl(simulation::SimulatedCamera& simulated)
    : camera(simulated),
      types(camera.streamTypes()),
      rateHz(1.0 / camera.periodSeconds()),
      tables(buildDescriptors(camera.model(), camera.description().serialNumber, types, rateHz)) {
  probed = committed = negotiate({});
}

ControlAnswer UvcControl::stall(std::uint8_t reason) {
  lastError = reason;
  return {-EPIPE, {}, ControlAnswer::Effect::None};
}

ControlAnswer UvcControl::answer(const SetupPacket& setup, std::span<const std::uint8_t> data) {
  const auto kind = setup.requestType & kKindMask;
  if (kind == 0) return standardRequest(setup);
  if (kind != kClassRequest) return stall(kInvalidRequest);
  const auto interfaceNumber = setup.index & 0xFF;
  const auto unit = setup.index >> 8;
  if (interfaceNumber == kStreamingInterface && unit == 0) return streamRequest(setup, data);
  if (interfaceNumber == kControlInterface && unit == kCameraUnitId) return unitRequest(setup, data);
  if (interfaceNumber == kControlInterface && unit == 0 && setup.value >> 8 == kErrorCodeControl)
    return errorCode(setup);
  return stall(kInvalidUnit);
}

ControlAnswer UvcControl::standardRequest(const SetupPacket& setup) {
  const bool endpoint = (setup.requestType & kRecipientMask) == kEndpointRecipient;
  switch (setup.request) {
    case kGetDescriptor:
      return descriptor(setup);
    case kGetStatus:
      return give16(setup, 0);
    case kGetConfiguration:
      return give8(setup, configured);
    case kGetInterface:
      return give8(setup, 0);
    case kSetConfiguration:
      if (setup.value > kConfigurationValue) return stall(kInvalidValue);
      configured = static_cast<std::uint8_t>(setup.value);
      return {0, {}, ControlAnswer::Effect::StopStream};
    case kSetInterface:
      if (setup.value != 0) return stall(kInvalidValue);  // no alternate settings
      return {0,
              {},
              setup.index == kStreamingInterface ? ControlAnswer::Effect::StopStream
                                                 : ControlAnswer::Effect::None};
    case kClearFeature:
      // How a host ends a bulk stream.
      return {0,
              {},
              endpoint && setup.index == kStreamEndpoint ? ControlAnswer::Effect::StopStream
                                                         : ControlAnswer::Effect::None};
    case kSetFeature:
      return {};
    default:
      return stall(kInvalidRequest);
  }
}

ControlAnswer UvcControl::descriptor(const SetupPacket& setup) const {
  const auto index = static_cast<std::size_t>(setup.value & 0xFF);
  switch (setup.value >> 8) {
    case kDevice:
      return give(setup, tables.device);
    case kConfiguration:
      if (index == 0) return give(setup, tables.configuration);
      break;
    case kText:
      if (index < tables.texts.size()) return give(setup, tables.texts[index]);
      break;
    default:
      break;
  }
  return {-EPIPE, {}, ControlAnswer::Effect::None};
}

/// What the camera makes of a host's wish: the format if there is one of that number, all else is fixed.
UvcControl::Negotiation UvcControl::negotiate(std::span<const std::uint8_t> wanted) const {
  Negotiation block{};
  block[0] = 1;  // the interval is kept
  const std::uint8_t format = wanted.size() > kFormatAt ? wanted[kFormatAt] : std::uint8_t{1};
  block[kFormatAt] = format >= 1 && format <= types.size() ? format : std::uint8_t{1};
  block[kFrameAt] = 1;
  storeLittle32(&block[kIntervalAt], frameInterval(rateHz));
  if (!types.empty()) storeLittle32(&block[kFrameSizeAt], frameBytes(types[block[kFormatAt] - 1u]));
  storeLittle32(&block[kPayloadAt], PayloadCutter::kPayloadBytes);
  storeLittle32(&block[kClockAt], kClockHz);
  return block;
}

ControlAnswer UvcControl::streamRequest(const SetupPacket& setup, std::span<const std::uint8_t> data) {
  const auto control = setup.value >> 8;
  if (control != kProbe && control != kCommit) return stall(kInvalidControl);
  switch (setup.request) {
    case kSetCur:
      if (data.size() <= kFrameAt) return stall(kInvalidValue);
      if (control == kCommit) return commit(data);
      probed = negotiate(data);
      return {};
    case kGetCur:
      return give(setup, control == kCommit ? committed : probed);
    case kGetMin:
    case kGetMax:
    case kGetRes:
    case kGetDef:
      return give(setup, negotiate(data));
    case kGetLen:
      return give16(setup, kNegotiationBytes);
    case kGetInfo:
      return give8(setup, kCanGet | kCanSet);
    default:
      return stall(kInvalidRequest);
  }
}

/// A bulk stream starts with its commit, and there it may be refused.
ControlAnswer UvcControl::commit(std::span<const std::uint8_t> data) {
  committed = negotiate(data);
  transport::StreamType actual;
  std::int32_t status = camera.selectType(committed[kFormatAt] - 1u, actual);
  if (status >= 0) status = camera.admitStart();
  if (status == transport::kStatusDeviceLost) return {status, {}, ControlAnswer::Effect::None};
  if (status < 0) return stall(kNoReason);
  return {0, {}, ControlAnswer::Effect::StartStream};
}

ControlAnswer UvcControl::unitRequest(const SetupPacket& setup, std::span<const std::uint8_t> data) {
  const auto selector = static_cast<std::uint32_t>(setup.value >> 8);
  if (selector < 1 || selector > kLastControl) return stall(kInvalidControl);
  const std::size_t length = std::size_t{1} << (selector - 1);
  ControlAnswer answer;
  switch (setup.request) {
    case kGetLen:
      return give16(setup, length);
    case kGetInfo:
      return give8(setup, selector == kCommandControl ? kCanGet | kCanSet : kCanGet);
    case kGetCur:
      answer.bytes.resize(length);
      answer.status = camera.controlGet(selector, answer.bytes);
      answer.bytes.resize(std::min<std::size_t>(length, setup.length));
      break;
    case kSetCur:
      answer.status = camera.controlSet(selector, data);
      break;
    default:
      return stall(kInvalidRequest);
  }
  if (answer.status == -ENOBUFS) return stall(kInvalidValue);
  if (answer.status == -EPERM) return stall(kInvalidRequest);
  if (answer.status == -EPIPE) return stall(kNoReason);
  if (answer.status < 0) answer.bytes.clear();
  return answer;
}

ControlAnswer UvcControl::errorCode(const SetupPacket& setup) {
  if (setup.request == kGetInfo) return give8(setup, kCanGet);
  if (setup.request != kGetCur) return {-EPIPE, {}, ControlAnswer::Effect::None};
  return give8(setup, lastError);
}

}  // namespace virtualcamera
