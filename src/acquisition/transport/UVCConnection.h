#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "acquisition/USBDeviceDesc.h"
#include "acquisition/registers/CameraRegisters.h"
#include "acquisition/registers/registerLink.h"
#include "acquisition/transport/sampleUnpacking.h"
#include "acquisition/transport/transportError.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/image.h"
#include "common/mutex.h"
#include "core/ArrivalSignal.h"
#include "core/multithreading.h"

/// Stored only; the platform decides.
enum UVCBackendEnum : std::int32_t { uvcBackendDefault = 0 };

/// The connection to one UVC camera: opens it, takes its "Y16 " stream, turns samples into 14-bit images in
/// the acquisition's ring, and carries register commands through the extension unit.
///
/// Lock order: connection mutex, then ring mutex. Life: constructed, `connectUVC`, `setAcqPointers`,
/// `startStreaming`, `stopStreaming`, destroyed; never destroyed or stopped on the delivery thread.
class UVCConnection final : public transport::SampleReceiver, private RegisterLink {
 public:
  /// name, backend: stored only.
  UVCConnection(const char* name, UVCBackendEnum backend);
  /// Ends delivery and releases the camera, whatever state it is in: within about a second, or as soon as a
  /// register transfer in progress on another thread ends.
  ~UVCConnection();
  UVCConnection(const UVCConnection&) = delete;
  UVCConnection& operator=(const UVCConnection&) = delete;

  // Process-wide: the platform and what it found.

  /// Starts the platform and lists the cameras, with one log line each. A second call first gives back the
  /// earlier start. False when the platform or the enumeration fails; then no camera is listed.
  static bool init();
  /// Gives back the start that `init` made. Open connections hold one of their own and go on.
  static void shutdown();
  /// While on, every register transfer of every connection fails at once, without a log line.
  static void refuseTransfers(bool on);
  static int deviceCount();
  /// Friendly name of a listed camera; "Invalid index" where there is none.
  static std::string deviceName(int index);
  /// Descriptor of a listed camera; an empty one for a bad index.
  static USBDeviceDesc describeDevice(int index);

  // One camera.

  /// Opens listed camera `index`: activation, extension-unit map, stream type. The type is not used.
  bool connectUVC(const int& vid, const int& pid, const int& index, dataTypeEnum type);
  /// A path that this library does not support: logs "Stub" and returns false.
  bool connectUVC(const std::string& name, int, int);

  /// Names the ring that samples go to. All of it is borrowed until `stopStreaming` has returned, or the
  /// destructor; while streaming, `*writeIndex` is changed by this connection only.
  void setAcqPointers(image<unsigned short>** buffers, int* writeIndex, std::mutex* mutex,
                      std::atomic<unsigned long long>* frameCounter, int bufferCount,
                      std::condition_variable* condition, bool* frameReady) EXCLUDES(connectionMutex);

  /// Signalled after each sample that reached the ring; borrowed as long as the connection lives. Set before
  /// `startStreaming`.
  void setArrivalSignal(ArrivalSignal* signal) { arrivalSignal = signal; }

  /// Asks for the first sample. width, height: size of the stream (`streamWidth`, `streamHeight`), by which
  /// samples are unpacked. A refused start leaves nothing running and the ring forgotten.
  bool startStreaming(WorkerPool* pool, int width, int height, int) EXCLUDES(connectionMutex);
  /// Ends the stream; no sample is written to the ring after the return, and the ring is forgotten. Waits for
  /// a sample in flight and up to two frame periods for the ring to be ready. Always true.
  bool stopStreaming() EXCLUDES(connectionMutex);
  /// Begins the end of the stream without waiting; `stopStreaming` completes it.
  void beginStop();

  /// Takes one sample; runs on the backend's delivery thread. Returns the status.
  std::int32_t OnReadSample(std::int32_t status, std::uint32_t streamIndex, std::uint32_t flags,
                            std::int64_t timestamp, const transport::Sample* sample)
      EXCLUDES(connectionMutex);
  void onSample(std::int32_t status, std::int64_t timestampUs, const transport::Sample* sample) override;

  /// Throws transport::TransportError and logs "<step> failed (error code <hr>)" when `hr`, taken as 32 bits,
  /// is negative.
  static void CheckResult(long hr, const std::string& step);

  /// One transfer with the cameras' extension unit. Throws transport::TransportError, logged.
  void transferUnit(std::uint32_t selector, transport::TransferFlags flags,
                    std::span<std::uint8_t> bytes) override;
  CameraRegisters& registers() { return cameraRegisters; }

  /// Size of the stream as chosen at type selection.
  int streamWidth() const { return static_cast<int>(typeWidth); }
  int streamHeight() const { return static_cast<int>(typeHeight); }
  /// True once the camera is gone or a delivery failed.
  bool isLost() const { return lost.load(); }
  /// Samples that were too short, or had nowhere to go.
  std::uint64_t droppedSamples() const { return dropped.load(); }
  /// Empty: no camera of this transport has one.
  std::string deviceString() const { return {}; }

  /// Decoded from the last frame, in the unit of the camera: degrees Celsius from 320- and 640-wide streams,
  /// kelvin from others. 0 before the first frame. Written by the delivery thread.
  std::atomic<float> sensorTemperature{0.0f};

 private:
  /// One counted start of a platform, given back at destruction.
  class PlatformStart;

  struct Ring {
    image<unsigned short>** buffers = nullptr;
    int* writeIndex = nullptr;
    std::mutex* mutex = nullptr;
    std::atomic<unsigned long long>* frameCounter = nullptr;
    int bufferCount = 0;
    std::condition_variable* condition = nullptr;
    bool* frameReady = nullptr;

    // The mutex that comes with them guards what `writeIndex` and `frameReady` point to.
    bool complete() const {
      return buffers && writeIndex && mutex && frameCounter && condition && frameReady;
    }
  };

  std::int32_t vendorId() const override { return vid; }
  std::int32_t productId() const override { return pid; }
  /// Shows the operation when "UVCDebug" is on.
  static void showOperation(const transport::StepResult& result);
  void check(const transport::StepResult& result);
  bool initializeDevice(std::size_t enumerationIndex, std::shared_ptr<transport::VideoPlatform> platform)
      EXCLUDES(connectionMutex);
  bool initializeXuGuidToNodeMap();
  bool initializeMediaTypes();
  void releaseDevice() EXCLUDES(connectionMutex);
  void endDelivery() EXCLUDES(connectionMutex);
  bool takeSample(const transport::Sample& sample) REQUIRES(connectionMutex);
  void publish() REQUIRES(connectionMutex);
  void deliveryFailed(std::int32_t status, const char* step);
  void waitForReadyFrame(const Ring& target) const;

  [[maybe_unused]] const std::string connectionName;
  [[maybe_unused]] const UVCBackendEnum backendChoice;
  Mutex connectionMutex{LockRank::connection};
  Ring ring GUARDED_BY(connectionMutex);
  transport::SampleLayout layout GUARDED_BY(connectionMutex);
  ArrivalSignal* arrivalSignal = nullptr;  ///< fixed before the stream starts
  std::atomic<bool> streaming{false};
  std::atomic<bool> lost{false};
  std::atomic<bool> closing{false};  ///< transfers are refused from now on
  std::atomic<bool> sampleSeen{false};
  std::atomic<std::uint64_t> dropped{0};

  // Written while connecting, before any other thread knows of the connection.
  std::int32_t vid = 0;
  std::int32_t pid = 0;
  std::int32_t deviceIndex = -1;    ///< enumeration index, -1 until activated
  std::int32_t selectedIndex = -1;  ///< list index
  std::uint32_t typeWidth = 0;
  std::uint32_t typeHeight = 0;
  std::uint32_t typePitch = 0;
  std::chrono::microseconds framePeriod{0};
  std::map<transport::Guid, int> unitNodes;  ///< extension unit to topology node

  // Destroyed from the last to the first: registers, camera, the platform's start.
  std::unique_ptr<PlatformStart> platformStart;
  std::unique_ptr<transport::VideoDevice> device;
  CameraRegisters cameraRegisters;
};
