#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "acquisition/transport/sampleUnpacking.h"
#include "bench/SyntheticCamera.h"

namespace bench {

/// Settings and pools for so many processing units, as an `OmbrixSDK` object sets them up.
class ProcessingUnits {
 public:
  explicit ProcessingUnits(int units);
  ~ProcessingUnits();
  ProcessingUnits(const ProcessingUnits&) = delete;
  ProcessingUnits& operator=(const ProcessingUnits&) = delete;
};

/// A synthetic camera before the library's pipeline, without connection and threads. It is corrected with one
/// flat-field table and its defective pixels, and mapped linearly; the temporal filter is on, destriping and
/// spatial filter are off. Needs `ProcessingUnits`.
class CameraRig {
 public:
  CameraRig(std::uint16_t width, std::uint16_t height);

  /// What the library does with a sample: unpacks it into a ring slot, copies it out of there, processes and
  /// colours it.
  void unpackSample();
  void fetchFrame();
  void processFrame() EXCLUDES(frameMutex);
  /// A corrected frame, as the stages after the corrections get it.
  void fetchCorrected();

  processData<unsigned short>& data() { return acquisition.processing; }
  std::size_t pixelCount() const { return camera.pixelCount(); }

  imageAcquisition acquisition{"bench", false};

 private:
  void makeSamples();
  void calibrate();
  void keepCorrected();

  const SyntheticCamera& camera;
  transport::SampleLayout layout;
  std::vector<std::vector<std::uint8_t>> samples;
  image<unsigned short> slot;
  image<unsigned short> corrected;
  std::uint64_t number = 0;
};

}  // namespace bench
