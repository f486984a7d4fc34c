#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/figures/StoredSamples.h"
#include "bench/figures/measurements.h"
#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

namespace bench {

/// A model's stored samples and calibration files, made before anything is measured.
struct Stock {
  explicit Stock(const std::string& modelName);

  std::string model;
  std::string calibration;  ///< directory
  std::shared_ptr<const Samples> samples;
};

/// An SDK of one processing unit with running cameras of one model, each with an application's thread that
/// takes its colour frames.
class LiveCameras {
 public:
  LiveCameras(const Stock& stock, int count, double rateHz, Setup setup);
  ~LiveCameras();
  LiveCameras(const LiveCameras&) = delete;
  LiveCameras& operator=(const LiveCameras&) = delete;

  void run(double seconds);
  /// What the last `run` saw.
  std::uint64_t missed() const;
  std::uint64_t taken() const;
  std::vector<double> handOverMs() const;

 private:
  struct Viewer {
    std::unique_ptr<Ombrix> camera;
    std::thread thread;
    std::vector<double> handOverMs;
    std::uint64_t missed = 0;
    std::uint64_t firstUnrequested = 0;
  };
  void applicationThreadProc(Viewer& viewer, std::size_t index);

  std::shared_ptr<StoredSamplesPlatform> platform;
  std::unique_ptr<OmbrixSDK> sdk;
  std::vector<std::unique_ptr<Viewer>> viewers;
  std::atomic<bool> watching{false};
};

}  // namespace bench
