#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

// The only door to an operating system's video stack. A backend moves bytes and reports status codes; every
// rule (which cameras are supported, which stream type is taken, how samples become pixels) is
// UVCConnection's.
namespace transport {

/// Outcome of a platform operation: a status code, negative for failure (`-errno` on Linux, an HRESULT on
/// Windows), and the text of the step that gave it, for the log.
struct StepResult {
  std::int32_t status = 0;
  const char* step = "";
  bool failed() const { return status < 0; }
};

/// Step texts, as the log shows them.
namespace step {
inline constexpr const char* kCreateAttributeStore = "Create attribute store";
inline constexpr const char* kSetCaptureGuid = "Video capture device SetGUID";
inline constexpr const char* kEnumerate = "Device enumeration";
inline constexpr const char* kFriendlyName = "Get video device friendly name";
inline constexpr const char* kDevicePath = "Get video device path";
inline constexpr const char* kActivate = "Activating video device";
inline constexpr const char* kAllocateAttributes = "Allocate device attributes";
inline constexpr const char* kDisableConverters = "Get device attributes";  // a SetUINT32, but named so
inline constexpr const char* kSetCallback = "Set device callback pointer";
inline constexpr const char* kCreateReader = "Creating video source reader";
inline constexpr const char* kCreatePresentation = "Creating presentation descriptor";
inline constexpr const char* kStreamCount = "Get stream descriptor count";
inline constexpr const char* kStreamDescriptor = "Get stream descriptor";
inline constexpr const char* kTypeHandler = "Get media type handler";
inline constexpr const char* kTypeCount = "Get media type count";
inline constexpr const char* kTypeByIndex = "Get media type";
inline constexpr const char* kSubType = "Get sub type";
inline constexpr const char* kFrameSize = "get frame size";
inline constexpr const char* kSetType = "set media type";
inline constexpr const char* kFirstSample = "Asking for first sample";
inline constexpr const char* kQueryTopology = "IMFMediaSource::QueryInterface(IKsTopologyInfo)";
inline constexpr const char* kNumNodes = "ks_topology_info->get_NumNodes(...)";
inline constexpr const char* kNodeType = "ks_topology_info->get_NodeType(...)";
inline constexpr const char* kNodeInstance = "ks_topology_info->CreateNodeInstance(...)";
inline constexpr const char* kNodeControl = "ks_topology_info->QueryInterface(...)";
inline constexpr const char* kNodeProperty = "pKsControl->KsProperty(...)";
inline constexpr const char* kTransfer = "ks_control->KsProperty(...)";
}  // namespace step

/// Answers of `probeUnit`: this node carries the unit, or does not.
inline constexpr std::int32_t kStatusMoreData = static_cast<std::int32_t>(0x800700EA);
inline constexpr std::int32_t kStatusSetNotFound = static_cast<std::int32_t>(0x80070492);
/// The camera is gone. On every backend this one status means "lost".
inline constexpr std::int32_t kStatusDeviceLost = -19;  // -ENODEV

/// A GUID in registry order: {39D89422-A0A4-443E-87CC-B4990743DD5A} is
/// {0x39D89422, 0xA0A4, 0x443E, {0x87, 0xCC, 0xB4, 0x99, 0x07, 0x43, 0xDD, 0x5A}}.
struct Guid {
  std::uint32_t a = 0;
  std::uint16_t b = 0;
  std::uint16_t c = 0;
  std::uint8_t d[8] = {};
  friend auto operator<=>(const Guid&, const Guid&) = default;  // NOLINT(modernize-use-nullptr)
};

struct DeviceRecord {
  std::string friendlyName;
  std::string path;  ///< names vendor and product, for example "... vid_5c2b&pid_96eb ..."
};

struct StreamType {
  std::uint32_t fourcc = 0;  ///< first 32 bits of the subtype; "Y16 " is 0x20363159
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

/// What the driver made of a selected type.
struct SelectedType {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t pitch = 0;  ///< bytes from one row to the next; 0 = width * 2
};

struct TopologyNode {
  int id = 0;
  bool deviceSpecific = false;  ///< only such nodes can be extension units
};

/// One delivered sample; the bytes are borrowed for the call.
struct Sample {
  std::span<const std::uint8_t> bytes;
};

/// Takes samples on the backend's delivery thread, one at a time. `sample` is null when there is none
/// (a failed status, or a delivery without data).
class SampleReceiver {
 public:
  virtual void onSample(std::int32_t status, std::int64_t timestampUs, const Sample* sample) = 0;

 protected:
  ~SampleReceiver() = default;
};

/// Direction of an extension-unit transfer.
enum TransferFlags : std::uint32_t { kTransferGet = 1, kTransferSet = 2 };

/// Something that stands between a user and a picture.
struct Obstacle {
  std::string code;    ///< what it is, in one word for programs: "no-permission"
  std::string text;    ///< what it is, for users
  std::string remedy;  ///< what to do about it; may be empty
};

/// One opened camera. Destruction closes it.
class VideoDevice {
 public:
  virtual ~VideoDevice() = default;

  /// Lists every type of every stream, in order.
  virtual StepResult streamTypes(std::vector<StreamType>& types) = 0;
  /// Makes type `index` of that list the current one and reads back what the driver made of it.
  virtual StepResult selectType(std::size_t index, SelectedType& actual) = 0;
  /// Asks for one sample; it arrives at the receiver later, never from inside this call. The first request
  /// starts the stream.
  virtual StepResult requestSample() = 0;
  /// Begins to end delivery without waiting, so that several cameras can be closed side by side.
  virtual void beginClose() {}
  /// Ends delivery: no callback is running or will run once this returns. At most about one second, whatever
  /// the camera does. Never called from the delivery thread. A second call does nothing.
  virtual void close() = 0;
  /// Reports a failed delivery to whoever listens (a window message on Windows; elsewhere it is recorded).
  virtual void postFailure(std::int32_t status) = 0;

  virtual StepResult topologyNodes(std::vector<TopologyNode>& nodes) = 0;
  /// kStatusMoreData: the node carries the unit; kStatusSetNotFound: it does not; other failures are errors.
  virtual StepResult probeUnit(int node, const Guid& unit) = 0;
  /// Reads into or writes from `bytes`, all of them. One transfer may take up to 5 s.
  virtual StepResult transferUnit(int node, const Guid& unit, std::uint32_t selector, TransferFlags flags,
                                  std::span<std::uint8_t> bytes) = 0;
};

class VideoPlatform {
 public:
  virtual ~VideoPlatform() = default;

  /// Counted: each successful start needs one stop.
  virtual StepResult start() = 0;
  virtual void stop() = 0;
  virtual StepResult enumerate(std::vector<DeviceRecord>& devices) = 0;
  /// Opens device `index` of the last enumeration. `receiver` must outlive the device's `close`.
  virtual StepResult open(std::size_t index, SampleReceiver& receiver,
                          std::unique_ptr<VideoDevice>& device) = 0;

  /// Why supported cameras that are plugged in are missing in the enumeration, one obstacle each.
  virtual std::vector<Obstacle> unlistedCameras() { return {}; }
  /// What a failed step of device `index` of the last enumeration means to a user.
  virtual Obstacle explain(std::size_t index, const StepResult& failed);
};

/// The backend in use: an installed one, else the one that the environment variable
/// OMBRIX_BACKEND names, else the platform's own. The choice stays until that variable or OMBRIX_SIMULATION
/// changes. Never null; a name that is not built in gives a platform whose `start` fails, after one log line.
std::shared_ptr<VideoPlatform> videoPlatform();

/// Makes `platform` the backend (tests); null returns to the choice by environment, made anew.
void installVideoPlatform(std::shared_ptr<VideoPlatform> platform);

}  // namespace transport
