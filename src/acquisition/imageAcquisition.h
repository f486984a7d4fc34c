#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/FrameRing.h"
#include "acquisition/USBDeviceDesc.h"
#include "acquisition/deviceInfo.h"
#include "common/image.h"
#include "common/mutex.h"
#include "core/frameMutex.h"
#include "core/multithreading.h"
#include "processing/state/processData.h"

/// A frame as the getters hand it out.
struct PublishedFrame {
  bool ready = false;             ///< not yet delivered
  std::uint64_t counter = 0;      ///< frames published
  std::uint64_t stampUs = 0;      ///< system clock at publication, microseconds
  std::uint64_t frameNumber = 0;  ///< of the published picture
  std::vector<std::uint32_t> histogram;
};

/// The frame that `getImage` handed out last. Belongs to the camera's processing task.
struct DeliveredFrame {
  std::uint64_t number = 0;     ///< the transport's counter, latched with the copy
  bool fromFilledSlot = false;  ///< false: the zero-filled slot a stream begins with
  std::int64_t timeUs = 0;      ///< monotonic clock
  std::int64_t intervalUs = 0;  ///< to the delivery before
};

/// One opened camera: its binding to the device table, connection, ring of raw frames, temperature worker and
/// the state of its pipeline. Created by the `Ombrix` constructor, destroyed by `Core::cleanup`.
class imageAcquisition {
 public:
  /// name: what messages call the camera until it is bound to a model.  flag: stored only.
  imageAcquisition(const std::string& name, const bool& flag);
  ~imageAcquisition();
  imageAcquisition(const imageAcquisition&) = delete;
  imageAcquisition& operator=(const imageAcquisition&) = delete;

  /// Hands over the SDK's shared flags: the worker-running flag and the acquiring flag. Both must outlive
  /// every object.
  static void init(std::atomic<bool>* workerRunning, std::atomic<bool>* acquiring);

  /// Binds the object to the first device-table row with the descriptor's ids and match string. False and one
  /// error line when there is none. b: the camera's index in the transport's supported-device list.
  bool setUSBDevice(const USBDeviceDesc& desc, const int& a, const int& b);

  /// Connects and configures the camera. On failure the error text is set and logged.
  bool initAcquisition();
  bool connectToDevice();
  /// Starts streaming; refused (false) when streaming already. A failed start undoes itself.
  bool startAcquisition();
  /// Stops streaming and frees the ring; does nothing when not streaming. Bounded, whatever the camera does.
  void stopAcquisition();
  /// Asks everything that runs for this camera to end, without waiting.
  void requestStop();
  bool releaseAcquisition();
  bool startStreaming();
  bool stopStreaming();
  bool releaseDevice();

  void initImageBuffers();
  void freeImageBuffers();

  /// Copies the newest raw frame into `out`. Waits without limit; `timeout` is accepted and not used. Zeros
  /// and false when the error flag is set, nothing is acquiring, or the object is stopping.
  bool getImage(image<unsigned short>& out, int timeout);
  /// The same with a bound; false without touching `out` when no frame came in time.
  bool waitImage(image<unsigned short>& out, int timeoutMs);
  /// Wakes a waiting consumer as if a frame (and a temperature, where pairing asks for it) had arrived.
  void broadcast();

  void UVCAcqThreadProc();
  void Velt640DTempUpdateThreadProc();
  void Quor320TempUpdateThreadProc();
  void Velt1280TempUpdateThreadProc();

  /// The camera's name in messages and file names: the model once bound, the constructor's name before.
  const std::string& name() const { return device.modelName.empty() ? givenName : device.modelName; }
  std::string getErrorText() const;
  bool hasError() const { return errorFlag; }
  bool isConnected() const { return connected; }
  bool isStreaming() const { return streaming; }
  /// True once the transport reported that the camera is gone.
  bool isLost() const;
  /// The numeric handle given to the application (also the index in the transport's list).
  int deviceNumber() const { return listIndex; }
  /// Writes a printf-style error text with the camera's name, logs it, sets the error flag.
  void fail(const char* pattern);
  /// As `fail`, with a name of the caller's.
  void fail(const char* pattern, const std::string& subject);

  deviceInfo device;
  FrameRing ring;
  processData<unsigned short> processing;
  DeliveredFrame delivered;
  bool replaying = false;  ///< frames come from a dump instead of the transport

  PublishedFrame rawFrame GUARDED_BY(frameMutex);
  PublishedFrame colorFrame GUARDED_BY(frameMutex);
  float publicationRate GUARDED_BY(frameMutex) = 0.0f;  ///< smoothed, frames per second
  bool closing GUARDED_BY(frameMutex) = false;          ///< clean-up woke the getters
  std::condition_variable_any frameCondition;           ///< waited on with the frame mutex

  std::atomic<bool> ready{false};            ///< prepared: the Core worker may process it. Set last.
  std::atomic<bool> dumpFrames{false};       ///< the frame-dump flag
  std::atomic<float> rateLimit{0.0f};        ///< processed frames per second at most; 0 = no limit
  std::atomic<std::int64_t> lastFrameUs{0};  ///< monotonic time of the last delivery, 0 before the first
  std::atomic<int> users{0};                 ///< calls in progress from the exported classes

 private:
  struct TemperatureRule;

  bool openConnection(bool placeholder);
  bool connectWithRegisters(bool placeholder);
  bool connectWithStartUpList();
  void readIdentity();
  bool startWorkersAndTransport();
  void startTemperatureWorker();
  bool usesPlaceholder() const;
  bool deliver(image<unsigned short>& out);
  bool leaving() const;
  void temperatureLoop(const TemperatureRule& rule);
  void publishTemperature(float kelvin);
  void waitForWorkers();

  std::string givenName;
  bool givenFlag = false;
  USBDeviceDesc descriptor;
  int firstIndex = 0;
  int listIndex = -1;

  std::atomic<bool> errorFlag{false};
  std::atomic<bool> connected{false};
  std::atomic<bool> streaming{false};
  std::atomic<bool> stopRequested{false};
  bool countedAsAcquiring = false;
  mutable Mutex errorMutex;
  char errorText[256] GUARDED_BY(errorMutex);

  Mutex workerMutex;  ///< with workerCondition: lets the temperature worker's pause end at once
  std::condition_variable workerCondition;
  bool temperatureSeen = false;  ///< temperature worker only
  float filteredK = 0.0f;        ///< temperature worker only
  float smoothedRate = 0.0f;     ///< temperature worker only
  std::int64_t lastCycleNs = 0;  ///< temperature worker only

  WorkerPool pool;  ///< four workers of this camera's own; last but the futures, so it is joined first
  std::future<int> temperatureWorker;
  std::future<int> placeholderWorker;
};
