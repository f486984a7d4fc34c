#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "acquisition/imageAcquisition.h"
#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

/// A simulated camera, opened with its calibration files and all defaults, whose frames the benchmark feeds:
/// a few stored samples, again and again.
class OpenedCamera {
 public:
  /// model: as a scenario names it.  units: processing units of the SDK.
  OpenedCamera(const std::string& model, int units);
  ~OpenedCamera();
  OpenedCamera(const OpenedCamera&) = delete;
  OpenedCamera& operator=(const OpenedCamera&) = delete;

  /// What the processing task does with a frame: the copy out of the ring, the pipeline, the colours.
  void processFrame() EXCLUDES(frameMutex);
  imageAcquisition& acquisition() { return *inside; }

 private:
  void settle();
  void storeSamples();

  std::shared_ptr<simulation::SimulatedPlatform> platform;
  std::unique_ptr<OmbrixSDK> sdk;
  std::unique_ptr<Ombrix> camera;
  imageAcquisition* inside = nullptr;
  std::vector<image<unsigned short>> samples;
  std::uint64_t next = 0;
};
