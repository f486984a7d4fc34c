#include "acquisition/transport/cameraCheck.h"

#include <algorithm>
#include <condition_variable>

#include "acquisition/transport/deviceList.h"
#include "acquisition/transport/extensionUnit.h"
#include "common/format.h"
#include "common/mutex.h"
#include "platform/system.h"

namespace transport {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kFourccY16 = 0x20363159;
constexpr const char* kOtherDevice = "this camera, or its firmware, is not one that the SDK works with";

/// Waits for a whole sample; asks again after each that is none.
class FirstSample final : public SampleReceiver {
 public:
  void onSample(std::int32_t result, std::int64_t, const Sample* sample) override {
    {
      MutexLock lock(mutex);
      status = result;
      whole = whole || sample != nullptr;
      if (whole || status < 0) {
        arrived = true;
        condition.notify_all();
        return;
      }
    }
    if (device) device->requestSample();
  }
  /// False when none came in time; otherwise the status tells.
  bool waitFor(std::chrono::milliseconds patience, std::int32_t& result) EXCLUDES(mutex) {
    const auto deadline = Clock::now() + patience;
    MutexLock lock(mutex);
    while (!arrived) {
      if (condition.wait_until(lock.native(), deadline) == std::cv_status::timeout) break;
    }
    result = status;
    return arrived;
  }
  VideoDevice* device = nullptr;  ///< set before the first request

 private:
  Mutex mutex;
  std::condition_variable condition;
  std::int32_t status GUARDED_BY(mutex) = 0;
  bool whole GUARDED_BY(mutex) = false;
  bool arrived GUARDED_BY(mutex) = false;
};

/// The steps of one camera's trial. Each answers false when no further one makes sense.
class Trial {
 public:
  Trial(VideoPlatform& videoPlatform, std::size_t deviceIndex, CameraCheck& result)
      : platform(videoPlatform), index(deviceIndex), check(result) {}

  void run(std::chrono::milliseconds patience) {
    if (!succeeded(platform.open(index, receiver, device)) || !device) return;
    receiver.device = device.get();
    if (findUnit() && selectFormat()) takeSample(patience);
    device->close();
  }

 private:
  bool succeeded(const StepResult& result) {
    if (result.failed()) check.obstacles.push_back(platform.explain(index, result));
    return !result.failed();
  }

  bool findUnit() {
    std::vector<TopologyNode> nodes;
    if (!succeeded(device->topologyNodes(nodes))) return false;
    const bool found = std::any_of(nodes.begin(), nodes.end(), [this](const TopologyNode& node) {
      return node.deviceSpecific && device->probeUnit(node.id, kCameraUnit).status == kStatusMoreData;
    });
    if (!found)
      check.obstacles.push_back(
          {"no-extension-unit", "the camera has no control unit for its registers", kOtherDevice});
    return true;  // pictures may come all the same
  }

  bool selectFormat() {
    std::vector<StreamType> types;
    if (!succeeded(device->streamTypes(types))) return false;
    const auto wanted = std::find_if(types.begin(), types.end(),
                                     [](const StreamType& type) { return type.fourcc == kFourccY16; });
    if (wanted == types.end()) {
      check.obstacles.push_back(
          {"wrong-format",
           format("none of the camera's {:d} stream formats is 16-bit grey (Y16)", types.size()),
           kOtherDevice});
      return false;
    }
    SelectedType actual;
    return succeeded(device->selectType(static_cast<std::size_t>(wanted - types.begin()), actual));
  }

  void takeSample(std::chrono::milliseconds patience) {
    if (!succeeded(device->requestSample())) return;
    std::int32_t status = 0;
    if (!receiver.waitFor(patience, status)) {
      check.obstacles.push_back(
          {"no-frames", format("the stream has started, and no frame came within {:d} ms", patience.count()),
           "plug the camera in again, best without a hub"});
    } else if (succeeded({status, "Sample delivery"})) {
      check.picture = true;
    }
  }

  VideoPlatform& platform;
  const std::size_t index;
  CameraCheck& check;
  FirstSample receiver;  // outlives the device
  std::unique_ptr<VideoDevice> device;
};

}  // namespace

bool SystemCheck::usable() const {
  return std::any_of(cameras.begin(), cameras.end(),
                     [](const CameraCheck& camera) { return camera.picture && camera.obstacles.empty(); });
}

SystemCheck checkCameras(VideoPlatform& platform, std::chrono::milliseconds patience) {
  SystemCheck result;
  std::vector<DeviceRecord> devices;
  StepResult begun = platform.start();
  if (!begun.failed()) {
    begun = platform.enumerate(devices);
    for (std::size_t i = 0; i < devices.size(); ++i) {
      const std::string model = describePath(devices[i].path).modelName;
      if (model.empty()) continue;
      CameraCheck& camera = result.cameras.emplace_back();
      camera = {devices[i].friendlyName, devices[i].path, model, false, {}};
      Trial(platform, i, camera).run(patience);
    }
    result.obstacles = platform.unlistedCameras();
    platform.stop();
  }
  if (begun.failed()) {
    result.obstacles.push_back({"no-backend",
                                format("the video backend cannot be used (error code {:d})", begun.status),
                                "unset OMBRIX_BACKEND, or name a backend that is built in"});
  }
  if (result.cameras.empty() && result.obstacles.empty()) {
    result.obstacles.push_back(
        {"no-device", format("no supported camera is plugged in ({:d} other video devices)", devices.size()),
         std::string("plug one in; ") + platform::kCameraListing});
  }
  return result;
}

}  // namespace transport
