#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "acquisition/imageAcquisition.h"
#include "common/sanitized.h"
#include "core/ThreadPool.h"
#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"
#include "support/LogCapture.h"

/// True where the code runs at full speed, so that rates of a live stream mean something.
constexpr bool kFullSpeed = !OMBRIX_SANITIZED;

/// A whole SDK on simulated cameras, with its log.
struct SdkRig {
  explicit SdkRig(const std::string& scenario, unsigned hardwareThreads = 2)
      : platform(simulation::makeSimulatedPlatform(scenario)) {
    ThreadPool::setHardwareThreadsForTesting(hardwareThreads);
    transport::installVideoPlatform(platform);
    sdk = std::make_unique<OmbrixSDK>(OmbrixSDK::verbosityInfo);
  }
  ~SdkRig() {
    sdk.reset();
    transport::installVideoPlatform(nullptr);
    ThreadPool::setHardwareThreadsForTesting(0);
  }
  SdkRig(const SdkRig&) = delete;
  SdkRig& operator=(const SdkRig&) = delete;

  /// The library's own object of an opened camera.
  static imageAcquisition& acquisition(int handle) {
    return *static_cast<imageAcquisition*>(OmbrixSDK::mConnectedDevices.at(handle));
  }

  LogCapture log;
  std::shared_ptr<simulation::SimulatedPlatform> platform;
  std::unique_ptr<OmbrixSDK> sdk;
};

/// What one getter call gives.
struct TakenFrame {
  explicit TakenFrame(Ombrix& camera) {
    std::uint64_t width = 0, height = 0;
    camera.getImageSize(width, height);
    pixelCount = width * height;
    md.histogramBuffer = histogram.data();
  }
  bool takeRaw(Ombrix& camera, int timeoutMs) {
    levels.resize(pixelCount);
    return camera.getRawFrame(reinterpret_cast<std::uint8_t*>(levels.data()), &md, timeoutMs);
  }
  bool takeColor(Ombrix& camera, int timeoutMs) {
    colors.resize(pixelCount);
    return camera.getColorFrame(reinterpret_cast<std::uint8_t*>(colors.data()), &md, timeoutMs);
  }

  std::uint64_t pixelCount = 0;
  std::vector<std::uint16_t> levels;
  std::vector<rgb_24b> colors;
  std::vector<std::uint32_t> histogram = std::vector<std::uint32_t>(65536);
  Ombrix::metadata md;
};
