#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

/// One camera as a test describes it, and what happened to it. Outlives the devices opened on it.
class ScriptedCamera {
 public:
  /// One extension-unit transfer; for a GET the bytes that were answered.
  struct Transfer {
    std::uint32_t selector = 0;
    transport::TransferFlags flags = transport::kTransferGet;
    std::vector<std::uint8_t> bytes;
  };
  /// Answers a GET: the last command written, and the block to fill (zeroed before).
  using Answer = std::function<void(const std::string& command, std::span<std::uint8_t> reply)>;

  ScriptedCamera(std::string name, std::string path, std::vector<transport::StreamType> streamTypes);

  /// "Bramble 6" with one "Y16 " type of 640 x 480 and the extension unit on node 3.
  static std::shared_ptr<ScriptedCamera> bramble6();
  static std::shared_ptr<ScriptedCamera> marlow3();   ///< 320 x 240
  static std::shared_ptr<ScriptedCamera> hollis12();  ///< stream of 1288 x 1024

  // What the camera is; set before it is opened.
  transport::DeviceRecord record;
  std::vector<transport::StreamType> types;
  std::uint32_t pitch = 0;
  std::vector<transport::TopologyNode> nodes = {{1, false}, {2, true}, {3, true}};
  int unitNode = 3;
  Answer answer;                         ///< default: repeats the command
  std::function<void()> duringTransfer;  ///< called in every transfer, outside the locks

  /// Delivers one sample, on the calling thread, if one has been asked for; false when none has, or after
  /// the close. Null bytes: a delivery without a sample.
  bool pump(std::int32_t status, const std::vector<std::uint8_t>* bytes);
  /// Delivers `bytes` from a thread of its own whenever a sample is asked for, until the device closes.
  void pumpFromOwnThread(std::vector<std::uint8_t> bytes);

  bool sampleRequested() const EXCLUDES(mutex);
  bool opened() const EXCLUDES(mutex);
  bool closed() const EXCLUDES(mutex);
  std::vector<Transfer> transfers() const EXCLUDES(mutex);
  std::vector<std::int32_t> postedFailures() const EXCLUDES(mutex);

 private:
  friend class ScriptedDevice;
  friend class ScriptedPlatform;
  void endDelivery();

  mutable Mutex mutex;
  std::condition_variable changed;
  transport::SampleReceiver* receiver GUARDED_BY(mutex) = nullptr;
  bool isOpen GUARDED_BY(mutex) = false;
  bool isClosed GUARDED_BY(mutex) = false;
  bool requested GUARDED_BY(mutex) = false;
  bool delivering GUARDED_BY(mutex) = false;
  std::vector<Transfer> done GUARDED_BY(mutex);
  std::vector<std::int32_t> posted GUARDED_BY(mutex);
  std::string lastCommand GUARDED_BY(mutex);
  std::thread pumpThread;
};

/// A video platform whose every named step can be made to fail once, and which records what was called.
class ScriptedPlatform : public transport::VideoPlatform {
 public:
  std::vector<std::shared_ptr<ScriptedCamera>> cameras;

  /// The `skip`+1st use of `step` from now on gives `status`; once.
  void failOnce(const std::string& step, std::int32_t status, int skip = 0) EXCLUDES(mutex);
  /// Makes `start` fail, without a step text, as a platform does that has logged why.
  bool refuseStart = false;

  /// Starts minus stops.
  int startCount() const EXCLUDES(mutex);
  /// The step texts used so far, in order.
  std::vector<std::string> steps() const EXCLUDES(mutex);

  transport::StepResult start() override;
  void stop() override;
  transport::StepResult enumerate(std::vector<transport::DeviceRecord>& devices) override;
  transport::StepResult open(std::size_t index, transport::SampleReceiver& receiver,
                             std::unique_ptr<transport::VideoDevice>& device) override;

 private:
  friend class ScriptedDevice;
  struct Fault {
    std::string step;
    std::int32_t status;
    int skip;
  };
  /// Takes the steps in turn; the first planned failure ends them.
  transport::StepResult take(std::initializer_list<const char*> wanted) EXCLUDES(mutex);

  mutable Mutex mutex;
  int starts GUARDED_BY(mutex) = 0;
  std::vector<Fault> faults GUARDED_BY(mutex);
  std::vector<std::string> taken GUARDED_BY(mutex);
};
