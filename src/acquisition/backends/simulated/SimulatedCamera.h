#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/backends/simulated/detector.h"
#include "acquisition/backends/simulated/faults.h"
#include "acquisition/backends/simulated/rawScene.h"
#include "acquisition/backends/simulated/registers.h"
#include "acquisition/backends/simulated/scenario.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace simulation {

/// One transfer through the extension unit, as the camera saw it.
struct TransferRecord {
  std::int64_t steadyNs = 0;
  std::thread::id thread;
  bool set = false;
  std::uint32_t selector = 0;
  std::int32_t status = 0;
  std::size_t sizeBytes = 0;
  std::string text;  ///< the command or reply up to its first NUL; empty for flash bytes and failures
};

/// What a camera gives its carrier for one frame period.
enum class Outcome {
  Sample,   ///< `sizeBytes` bytes
  Missing,  ///< a delivery without a sample
  Failure,  ///< a failed delivery
  Silence,  ///< nothing at all
  Lost      ///< the camera is unplugged
};
struct ProducedSample {
  Outcome outcome = Outcome::Silence;
  std::size_t sizeBytes = 0;
  bool whole = false;       ///< neither short nor empty
  std::uint64_t frame = 0;  ///< number of the picture, from 0 at power-on
};

/// A simulated camera: detector, scene, registers, flash, shutter, temperatures and faults. It knows nothing
/// of how its bytes travel. Its time is the frame number over the rate, so one seed always gives the same
/// bytes. All members may be called from any thread.
class SimulatedCamera {
 public:
  explicit SimulatedCamera(const CameraSpec& spec);

  const CameraModel& model() const { return *spec.model; }
  const CameraSpec& description() const { return spec; }

  // The stream.
  std::vector<transport::StreamType> streamTypes() const;
  /// Makes a type the current one: 0, -EINVAL, or -ENODEV when unplugged.
  std::int32_t selectType(std::size_t index, transport::StreamType& actual);
  std::size_t sampleBytes() const;
  /// Room that `produce` needs: an oversize sample of the current type.
  std::size_t largestSampleBytes() const;
  /// Whether a first request is granted: 0, -EBUSY or -ENODEV.
  std::int32_t admitStart();
  /// Whether a later request is granted: 0, -EIO or -ENODEV.
  std::int32_t admitRearm();
  /// Makes detector and scene, which takes a moment, so that the first frame does not have to.
  void prepare();
  /// Lets one frame period pass and writes its sample into `buffer`.
  ProducedSample produce(std::span<std::uint8_t> buffer);
  /// Lets one frame period pass whose sample nobody takes.
  void skip();
  std::uint64_t framesPassed() const;
  double periodSeconds() const;
  /// How much the frame is early (negative) or late.
  double jitterSeconds(std::uint64_t frame) const;
  double slowStopSeconds() const;

  // The extension unit. Selector s moves 2^(s-1) bytes, 1 <= s <= 16; 16-byte commands go through selector 5.
  // Statuses: 0, -ENOENT (selector), -ENOBUFS (length), -EPERM (direction), -EPIPE (nothing to read),
  // -ENODEV, and whatever a fault asks for.
  std::int32_t controlSet(std::uint32_t selector, std::span<const std::uint8_t> bytes);
  std::int32_t controlGet(std::uint32_t selector, std::span<std::uint8_t> bytes);
  std::vector<TransferRecord> transfers() const;

  // Switches.
  void apply(const Fault& fault);
  /// The same from a scenario's text; an empty result means success, otherwise it is the reason.
  std::string apply(std::string_view faultText);
  bool unplugged();
  /// Counts the times the camera was plugged in again.
  std::uint64_t generation() const;
  void setScene(const SceneSpec& scene);
  void setDetectorCelsius(std::optional<double> celsius);
  void setHousingExcessK(std::optional<double> kelvin);
  void moveShutter(bool close);
  bool shutterClosed() const;
  /// Lets simulated time pass at once, without frames.
  void advanceTime(double seconds);
  std::uint16_t registerValue(std::uint16_t group, std::uint16_t address) const;
  std::vector<Defect> defects() const;

 private:
  struct Layout {
    std::uint32_t width = 0, height = 0;
  };
  void prepareLocked() REQUIRES(frameMutex);
  bool beginFrame() REQUIRES(frameMutex);
  DetectorConditions conditions() const REQUIRES(frameMutex);
  Layout currentLayout() const EXCLUDES(controlMutex);
  RadianceView look() REQUIRES(frameMutex);
  void render(std::span<std::uint8_t> buffer, const Layout& layout) REQUIRES(frameMutex);
  void renderCoded(std::span<std::uint8_t> buffer, const Layout& layout) REQUIRES(frameMutex);
  void renderRaw(std::span<std::uint8_t> buffer, const Layout& layout) REQUIRES(frameMutex);
  void writeTemperature(std::span<std::uint8_t> buffer, const Layout& layout) REQUIRES(frameMutex);
  void strikeDueFaults(std::uint64_t frame, double seconds) REQUIRES(controlMutex);
  void applyLocked(const Fault& fault) REQUIRES(controlMutex);
  bool unpluggedLocked() REQUIRES(controlMutex);
  std::int32_t admitTransfer(std::uint32_t selector, std::size_t sizeBytes);
  void distortReply(CommandBytes& bytes) REQUIRES(controlMutex);
  void record(bool set, std::uint32_t selector, std::int32_t status, std::span<const std::uint8_t> bytes,
              bool text) REQUIRES(controlMutex);
  double rate() const REQUIRES(controlMutex);

  const CameraSpec spec;

  // Order: frame, then control.
  mutable Mutex frameMutex{LockRank::simulatedFrame};
  std::unique_ptr<Detector> detector GUARDED_BY(frameMutex);  ///< made for the first frame
  std::unique_ptr<Scene> scene GUARDED_BY(frameMutex);
  std::unique_ptr<RawScene> raw GUARDED_BY(frameMutex);  ///< in the place of `scene` and detector
  SceneSpec sceneSpec GUARDED_BY(frameMutex);
  std::optional<double> fixedDetectorCelsius GUARDED_BY(frameMutex);
  std::optional<double> fixedHousingExcessK GUARDED_BY(frameMutex);
  std::vector<float> shutterRow GUARDED_BY(frameMutex);
  std::vector<std::uint8_t> scratchRow GUARDED_BY(frameMutex);
  std::uint64_t nextFrame GUARDED_BY(frameMutex) = 0;
  std::uint64_t shownFrame GUARDED_BY(frameMutex) = 0;
  double shownCelsius GUARDED_BY(frameMutex) = 0.0;   ///< of the shown frame's detector
  double shownHousingK GUARDED_BY(frameMutex) = 0.0;  ///< of its housing
  double seconds GUARDED_BY(frameMutex) = 0.0;        ///< of the next frame, since power-on
  double rampedK GUARDED_BY(frameMutex) = 0.0;

  mutable Mutex controlMutex{LockRank::simulatedControl};
  std::condition_variable controlCondition;  ///< unplugged: ends slow transfers
  RegisterEngine registers GUARDED_BY(controlMutex);
  FaultState faults GUARDED_BY(controlMutex);
  std::vector<Fault> scripted GUARDED_BY(controlMutex);  ///< still to strike
  CommandBytes earlierReply GUARDED_BY(controlMutex){};
  std::deque<TransferRecord> log GUARDED_BY(controlMutex);
  Layout layout GUARDED_BY(controlMutex);
  std::uint64_t plugs GUARDED_BY(controlMutex) = 0;
  // Unplugged, the camera's time stands still; a scripted replug goes by the clock from then on.
  std::int64_t unplugNs GUARDED_BY(controlMutex) = 0;
  std::uint64_t lastFrame GUARDED_BY(controlMutex) = 0;
  double lastSeconds GUARDED_BY(controlMutex) = 0.0;
};

}  // namespace simulation
