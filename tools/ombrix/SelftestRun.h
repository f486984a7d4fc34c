#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "common/mutex.h"
#include "ombrix/Ombrix.h"
#include "tools/common/selftestEvidence.h"
#include "tools/common/stageFigures.h"
#include "tools/ombrix/commands.h"

namespace tools {

/// Opens a camera and collects what the self-test judges. Every step ends by itself when the camera falls
/// silent or is gone; what needs no frames is collected all the same. Shutter runs leave their tables in a
/// directory that is gone afterwards, so nothing of the user's changes.
class SelftestRun {
 public:
  /// wanted: borrowed.
  explicit SelftestRun(const Options& wanted) : options(wanted) {}

  /// Collects everything; once, on any thread. Throws nothing.
  void run() EXCLUDES(mutex);
  /// Lets `run` end after the step in progress. From any thread.
  void cancel(const std::string& why) EXCLUDES(mutex);
  /// What is being done, for a progress line. From any thread.
  std::string step() const { return stepName.load(); }
  /// After `run`.
  selftest::Evidence& evidence() { return found; }

 private:
  using Clock = std::chrono::steady_clock;

  void collect();
  void collectFrom(imageAcquisition& device);
  void open(const std::string& directory);
  bool ended() EXCLUDES(mutex);
  bool next();
  bool settle();
  void watchFrames();
  bool watchColour();
  void watchTimeouts();
  void readRegisters(imageAcquisition& device);
  bool meanPicture(unsigned frames, std::vector<double>& mean, double& noise);
  void runShutter();
  double spreadOf(const std::vector<double>& picture) const;
  double distance(const std::vector<double>& one, const std::vector<double>& other) const;

  const Options& options;
  std::unique_ptr<Ombrix> camera;
  imageAcquisition* watched = nullptr;  ///< while it is collected from
  std::vector<std::uint16_t> levels;
  std::vector<std::uint32_t> histogram;
  std::vector<PixelKind> kinds;
  Ombrix::metadata metadata;
  Clock::time_point timeZero;  ///< of what frames and losses are timed by
  selftest::Evidence found;
  std::atomic<const char*> stepName{"opening the camera"};

  Mutex mutex;
  std::string cancelled GUARDED_BY(mutex);
};

}  // namespace tools
