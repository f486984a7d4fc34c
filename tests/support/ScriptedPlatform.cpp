#include "support/ScriptedPlatform.h"

#include <algorithm>
#include <utility>

namespace step = transport::step;
using transport::StepResult;

constexpr std::uint32_t kY16 = 0x20363159;

class ScriptedDevice : public transport::VideoDevice {
 public:
  ScriptedDevice(ScriptedPlatform& owner, std::shared_ptr<ScriptedCamera> opened)
      : platform(owner), camera(std::move(opened)) {}
  ~ScriptedDevice() override { close(); }

  StepResult streamTypes(std::vector<transport::StreamType>& types) override {
    types = camera->types;
    return platform.take({step::kCreatePresentation, step::kStreamCount, step::kStreamDescriptor,
                          step::kTypeHandler, step::kTypeCount, step::kTypeByIndex, step::kSubType,
                          step::kFrameSize});
  }

  StepResult selectType(std::size_t index, transport::SelectedType& actual) override {
    actual = {camera->types.at(index).width, camera->types.at(index).height, camera->pitch};
    return platform.take({step::kSetType});
  }

  StepResult requestSample() override {
    const StepResult result = platform.take({step::kFirstSample});
    if (result.failed()) return result;
    MutexLock lock(camera->mutex);
    camera->requested = true;
    camera->changed.notify_all();
    return result;
  }

  void close() override { camera->endDelivery(); }

  void postFailure(std::int32_t status) override {
    MutexLock lock(camera->mutex);
    camera->posted.push_back(status);
  }

  StepResult topologyNodes(std::vector<transport::TopologyNode>& nodes) override {
    nodes = camera->nodes;
    return platform.take({step::kQueryTopology, step::kNumNodes, step::kNodeType});
  }

  StepResult probeUnit(int node, const transport::Guid&) override {
    const StepResult result = platform.take({step::kNodeInstance, step::kNodeControl, step::kNodeProperty});
    if (result.failed()) return result;
    return {node == camera->unitNode ? transport::kStatusMoreData : transport::kStatusSetNotFound,
            result.step};
  }

  StepResult transferUnit(int, const transport::Guid&, std::uint32_t selector, transport::TransferFlags flags,
                          std::span<std::uint8_t> bytes) override {
    if (camera->duringTransfer) camera->duringTransfer();
    const StepResult result =
        platform.take({step::kQueryTopology, step::kNodeInstance, step::kNodeControl, step::kTransfer});
    if (result.failed()) return result;
    MutexLock lock(camera->mutex);
    if (flags == transport::kTransferSet) {
      camera->lastCommand.assign(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    } else {
      std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
      camera->answer(camera->lastCommand, bytes);
    }
    camera->done.push_back({selector, flags, {bytes.begin(), bytes.end()}});
    return result;
  }

 private:
  ScriptedPlatform& platform;
  std::shared_ptr<ScriptedCamera> camera;
};

ScriptedCamera::ScriptedCamera(std::string name, std::string path,
                               std::vector<transport::StreamType> streamTypes)
    : record{std::move(name), std::move(path)}, types(std::move(streamTypes)) {
  answer = [](const std::string& command, std::span<std::uint8_t> reply) {
    std::copy_n(command.begin(), std::min(command.size(), reply.size()), reply.begin());
  };
}

std::shared_ptr<ScriptedCamera> ScriptedCamera::bramble6() {
  return std::make_shared<ScriptedCamera>("Bramble", "/dev/video0 vid_5c2b&pid_96eb",
                                          std::vector<transport::StreamType>{{kY16, 640, 480}});
}

std::shared_ptr<ScriptedCamera> ScriptedCamera::marlow3() {
  return std::make_shared<ScriptedCamera>("Marlow", "/dev/video2 vid_5c2b&pid_96ea",
                                          std::vector<transport::StreamType>{{kY16, 320, 240}});
}

std::shared_ptr<ScriptedCamera> ScriptedCamera::hollis12() {
  return std::make_shared<ScriptedCamera>("Hollis", "/dev/video4 vid_5c2b&pid_96ec",
                                          std::vector<transport::StreamType>{{kY16, 1288, 1024}});
}

bool ScriptedCamera::pump(std::int32_t status, const std::vector<std::uint8_t>* bytes) {
  transport::SampleReceiver* target = nullptr;
  {
    MutexLock lock(mutex);
    if (!requested || isClosed || delivering) return false;
    requested = false;
    delivering = true;
    target = receiver;
  }
  transport::Sample sample;
  if (bytes) sample.bytes = *bytes;
  target->onSample(status, 0, bytes ? &sample : nullptr);
  MutexLock lock(mutex);
  delivering = false;
  changed.notify_all();
  return true;
}

void ScriptedCamera::pumpFromOwnThread(std::vector<std::uint8_t> bytes) {
  pumpThread = std::thread([this, frame = std::move(bytes)] {
    while (!closed()) {
      if (pump(0, &frame)) continue;
      MutexLock lock(mutex);
      while (!requested && !isClosed) changed.wait(lock.native());
    }
  });
}

void ScriptedCamera::endDelivery() {
  {
    MutexLock lock(mutex);
    isClosed = true;
    changed.notify_all();
    while (delivering) changed.wait(lock.native());
  }
  if (pumpThread.joinable()) pumpThread.join();
}

bool ScriptedCamera::sampleRequested() const {
  MutexLock lock(mutex);
  return requested && !isClosed;
}

bool ScriptedCamera::opened() const {
  MutexLock lock(mutex);
  return isOpen;
}

bool ScriptedCamera::closed() const {
  MutexLock lock(mutex);
  return isClosed;
}

std::vector<ScriptedCamera::Transfer> ScriptedCamera::transfers() const {
  MutexLock lock(mutex);
  return done;
}

std::vector<std::int32_t> ScriptedCamera::postedFailures() const {
  MutexLock lock(mutex);
  return posted;
}

void ScriptedPlatform::failOnce(const std::string& step, std::int32_t status, int skip) {
  MutexLock lock(mutex);
  faults.push_back({step, status, skip});
}

int ScriptedPlatform::startCount() const {
  MutexLock lock(mutex);
  return starts;
}

std::vector<std::string> ScriptedPlatform::steps() const {
  MutexLock lock(mutex);
  return taken;
}

StepResult ScriptedPlatform::take(std::initializer_list<const char*> wanted) {
  MutexLock lock(mutex);
  const char* last = "";
  for (const char* const name : wanted) {
    last = name;
    taken.emplace_back(name);
    const auto fault =
        std::find_if(faults.begin(), faults.end(), [name](const Fault& f) { return f.step == name; });
    if (fault == faults.end() || fault->skip-- > 0) continue;
    const std::int32_t status = fault->status;
    faults.erase(fault);
    return {status, name};
  }
  return {0, last};
}

StepResult ScriptedPlatform::start() {
  if (refuseStart) return {-5, ""};
  MutexLock lock(mutex);
  ++starts;
  return {};
}

void ScriptedPlatform::stop() {
  MutexLock lock(mutex);
  --starts;
}

StepResult ScriptedPlatform::enumerate(std::vector<transport::DeviceRecord>& devices) {
  devices.clear();
  for (const auto& camera : cameras) devices.push_back(camera->record);
  return take({step::kCreateAttributeStore, step::kSetCaptureGuid, step::kEnumerate, step::kFriendlyName,
               step::kDevicePath});
}

StepResult ScriptedPlatform::open(std::size_t index, transport::SampleReceiver& receiver,
                                  std::unique_ptr<transport::VideoDevice>& device) {
  const StepResult result = take({step::kActivate, step::kAllocateAttributes, step::kDisableConverters,
                                  step::kSetCallback, step::kCreateReader});
  if (result.failed()) return result;
  const auto& camera = cameras.at(index);
  {
    MutexLock lock(camera->mutex);
    camera->receiver = &receiver;
    camera->isOpen = true;
    camera->isClosed = false;
    camera->requested = false;
  }
  device = std::make_unique<ScriptedDevice>(*this, camera);
  return result;
}
