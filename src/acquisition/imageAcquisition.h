#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/FrameRing.h"
#include "acquisition/TemperatureFilter.h"
#include "acquisition/USBDeviceDesc.h"
#include "acquisition/deviceInfo.h"
#include "acquisition/flatFieldIndex.h"
#include "acquisition/transport/viewerOutput.h"
#include "common/image.h"
#include "common/mutex.h"
#include "core/frameMutex.h"
#include "core/multithreading.h"
#include "imageFiles/FrameReplay.h"
#include "imageFiles/PictureFiles.h"
#include "processing/shutterRunSequence.h"
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

  /// True once `setUSBDevice` found a row.
  bool isBound() const { return !device.modelName.empty(); }

  /// Connects and configures the camera. On failure the error text is set and logged.
  bool initAcquisition();
  bool connectToDevice();
  /// Writes the core configuration word (thermal cameras only; a failure is logged and goes on) and reads
  /// part and serial number texts.
  void readIdentity();
  /// Opens or closes the shutter on models that have one; failures are logged.
  void moveShutter(bool close);
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

  /// Loads the camera's calibration files and sets the switches that depend on them. While the camera is
  /// being opened, on the application's thread; what is missing is logged and left off.
  void loadCalibrationFiles();
  /// Fills the acquisition's thermographic table from a file; false (logged) leaves what was read so far.
  static bool loadThermographicCorrection(imageAcquisition* acquisition, const std::string& path);
  /// Brings the flat-field tables, or the evaluated polynomials, to a sensor temperature (kelvin), with their
  /// range of validity. Without usable tables: false, and `shutterlessCorrection` goes off. By the processing
  /// task with the frame mutex held, or while nobody else sees the camera.
  bool _updateFFC(const float& sensorTemperatureK);
  /// With the setting `tiffFrameReplay` on and a dump of this camera's frames: puts it into the replay state,
  /// in which the dumped pages take the place of the transport's frames. Before `startAcquisition`.
  void prepareReplay();
  /// How long until the replay's next page is due; 0 when it is, and without limit when none will come.
  std::chrono::microseconds untilNextPage() const;
  /// Takes up what the parsed words and `setFrameDump` ask for. Before each frame, on the processing task.
  void followDumpSetting() REQUIRES(frameMutex);
  /// Starts or ends the dump of this camera's frames. False in the replay state (logged).
  bool switchFrameDump(bool on) EXCLUDES(frameMutex);
  /// Lets the snapshots have the frame that was just processed.
  void offerSnapshots(bool colored) REQUIRES(frameMutex);
  /// Writes a picture of the next frame to `path` and waits for it; bounded.
  bool takeSnapshot(const std::string& path, imageFiles::Content content);

  /// Where this camera's calibration files are looked for.
  CalibrationPlaces calibrationPlaces() const;
  /// The directory of calibration files that the camera was opened with.
  const std::string& dataDirectory() const { return givenName; }

  /// Starts a shutter run of `frames` (at least 1) frames; one in progress starts its count anew. Returns
  /// what `waitForShutterRun` knows this run by.
  std::uint32_t requestShutterRun(std::uint16_t frames) EXCLUDES(calibrationMutex);
  /// Waits for the end of that run, whether or not another one has begun since. Ends it itself, with the
  /// earlier correction back in force, when the camera is being closed or has failed, or when no frame was
  /// processed for max(5 s, 10 frame periods).
  void waitForShutterRun(std::uint32_t run) EXCLUDES(calibrationMutex);

  /// Evaluates the polynomial calibration at the current sensor temperature into the gain and offset maps, on
  /// `processingPool`. False when there is nothing to do: no polynomials of the camera's size, an unknown
  /// model, no finite temperature, or less than 0.01 K since the last evaluation. With the frame mutex held.
  bool updatePolyfit();

  /// Copies the newest raw frame into `out`. Waits without limit; `timeout` is accepted and not used. Zeros
  /// and false when the error flag is set, nothing is acquiring, or the object is stopping.
  bool getImage(image<unsigned short>& out, int timeout);
  /// Brings the newest raw frame into the pipeline's raw image, without waiting; false when there is none.
  /// The ring's slot takes the raw image's memory in exchange where no later frame is to find its pixels; a
  /// wake-up without a new frame then brings none. Processing task only.
  bool takeImage() EXCLUDES(ring.mutex);
  /// Sets both ready flags and wakes every getter: nothing more will come.
  void wakeGetters() EXCLUDES(frameMutex);
  /// True when `takeImage` would deliver.
  bool hasImage() EXCLUDES(ring.mutex);
  /// Pairs deliveries with temperatures or triggers, or ends that.
  void setPairing(bool on);
  /// Stands in for the paired temperature, once.
  void requestTrigger();
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
  /// Writes a printf-style error text with the camera's name and logs it.
  void recordError(const char* pattern);

  deviceInfo device;
  FrameRing ring;
  /// Shared under the frame mutex, but for what has a lock of its own or is atomic; pictures that the
  /// processing task alone writes (`rawImage`, `colorImage`) it also reads without the mutex. Until `ready`
  /// the opening thread's own.
  processData<unsigned short> processing;
  DeliveredFrame delivered;
  bool replaying = false;  ///< frames come from a dump instead of the transport; fixed before `ready`
  imageFiles::PictureFiles pictures;
  std::uint8_t listPosition = 0;  ///< position in the Core's list in the cycle that processes the camera
  /// Null when colour frames go to applications only. After opening, the processing task's own.
  std::unique_ptr<transport::ViewerOutput> viewerOutput;

  PublishedFrame rawFrame GUARDED_BY(frameMutex);
  PublishedFrame colorFrame GUARDED_BY(frameMutex);
  float publicationRate GUARDED_BY(frameMutex) = 0.0f;  ///< smoothed, frames per second
  std::condition_variable_any frameCondition;           ///< waited on with the frame mutex

  /// Inner to the frame mutex. The condition tells of the end of a shutter run.
  Mutex calibrationMutex{LockRank::calibration};
  std::condition_variable calibrationCondition;
  ShutterRunSequence shutterRun GUARDED_BY(calibrationMutex);
  /// Monotonic time of the last frame processed during a run; 0 before the first.
  std::int64_t shutterProgressUs GUARDED_BY(calibrationMutex) = 0;
  bool switchBeforeRun GUARDED_BY(calibrationMutex) = false;  ///< what a cancelled run puts back
  std::chrono::milliseconds shutterSilence{5000};  ///< how long a waiter bears no frames; tests shorten it
  /// How long after a failed table refresh the folders are looked through again; tests shorten it.
  std::chrono::milliseconds tableScanPause{5000};

  std::atomic<bool> ready{false};            ///< prepared: the Core worker may process it. Set last.
  std::atomic<bool> dumpFrames{false};       ///< the frame-dump flag
  std::atomic<float> rateLimit{0.0f};        ///< processed frames per second at most; 0 = no limit
  std::atomic<std::int64_t> lastFrameUs{0};  ///< monotonic time of the last delivery, 0 before the first
  std::atomic<int> users{0};                 ///< calls in progress from the exported classes

 private:
  struct TemperatureRule;

  bool connectWithSensorRegisters(bool placeholder);
  bool connectWithStartUpList(bool placeholder);
  bool connectBoardCamera();
  bool openConnection(bool placeholder);
  void readSerialNumber();
  bool usesPlaceholder() const;
  void startTemperatureWorker();
  bool startTransport();
  void undoStart();
  void waitForWorkers();
  bool leaving() const;
  bool loadDefects(const CalibrationPlaces& places);
  bool loadManualTable(const CalibrationPlaces& places);
  bool loadPolynomials(const CalibrationPlaces& places);
  bool loadFlatFieldTables();
  bool refreshPolynomials();
  void cancelShutterRun() REQUIRES(calibrationMutex);
  std::chrono::microseconds shutterPatience() const;
  void deliver(image<unsigned short>& out, bool exchange) REQUIRES(ring.mutex);
  bool replayImage(image<unsigned short>& out);
  void temperatureLoop(const TemperatureRule& rule);
  void temperatureCycle(const TemperatureRule& rule);
  void publishTemperature(float kelvin);

  // Fixed before other threads see the camera.
  std::string givenName;
  bool givenFlag = false;
  USBDeviceDesc descriptor;  ///< as the caller of `setUSBDevice` gave it
  int firstIndex = 0;
  int listIndex = -1;

  std::atomic<bool> errorFlag{false};
  std::atomic<bool> connected{false};
  std::atomic<bool> streaming{false};
  std::atomic<bool> stopRequested{false};
  mutable Mutex errorMutex{LockRank::cameraError};
  char errorText[256] GUARDED_BY(errorMutex) = "none";

  Mutex workerMutex{LockRank::workerPause};  ///< with the condition: ends the temperature worker's pause
  std::condition_variable workerCondition;
  // What the temperature worker keeps from cycle to cycle; no other thread touches it.
  TemperatureFilter temperatureFilter;
  std::int64_t lastCycleNs = 0;

  std::unique_ptr<imageFiles::FrameReplay> replay;  ///< while replaying; belongs to the processing task
  std::uint32_t dumpWordsSeen GUARDED_BY(frameMutex) = 0;  ///< parses of "tiffFrameDump" that were followed

  FlatFieldIndex flatFieldIndex;  ///< belongs to whoever may call `_updateFFC`

  WorkerPool pool;  ///< four workers of this camera's own
  // Of who starts and stops the camera, one thread at a time: the Core does so under its mutex.
  std::future<int> temperatureWorker;
  std::future<int> placeholderWorker;
};
