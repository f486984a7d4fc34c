#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// From the mapped image to the output image.
struct OutputState {
  enum SpatialFilterState : std::int32_t { spatialFilterNone, spatialFilterRunning, spatialFilterOff };

  float rotationDegrees = 0.0f;
  float temporalFiltering = 0.6f;   ///< weight of the running average, 0 to 1; 0 = off
  bool temporalStateValid = false;  ///< `temporalState` holds an average of this stream
  float zoomFactor = 1.0f;          ///< first resampling; 1 = copy
  float secondZoomFactor = 1.0f;    ///< second resampling; 1 = copy
  std::uint8_t secondInterpolation = 1;
  bool spatialFiltering = true;
  std::int32_t spatialFilterState = spatialFilterNone;
};

/// Temperature and noise of the image centre, averaged over 16 frames; shown by the overlay.
struct TargetMeasurement {
  static constexpr std::size_t kHistory = 16;

  std::array<float, kHistory> temperatureHistory{};  ///< kelvin, newest first; at rangeMinK until measured
  std::array<float, kHistory> noiseHistory{};        ///< kelvin, newest first; -1 until measured
  float targetTemperatureK = 0.0f;
  float targetNoiseK = 0.0f;
};

/// Writing of corrected frames to files.
struct FrameDump {
  enum WriterState : std::int32_t { writerIdle, writerWriting, writerStopped };

  std::uint64_t tiffDumpIndex = 0;  ///< of the newest dumped frame, from 1
  std::int32_t writerState = writerIdle;
  bool lastFrameDumped = false;  ///< the frame processed last belonged to a dump
};

/// How long the stages of the last frame took, in milliseconds. All but the whole are measured while the
/// setting `profiling` is on and keep their values otherwise.
struct StageTimes {
  float processingMs = 0.0f;  ///< the whole call
  float flatFieldMs = 0.0f;   ///< calibration and application
  float columnDestripingMs = 0.0f;
  float rowDestripingMs = 0.0f;  ///< with the manual flat field
  float thermographicMs = 0.0f;
  float defectivePixelsMs = 0.0f;  ///< both passes
  float statisticsMs = 0.0f;       ///< with rotation
  float levelCompensationMs = 0.0f;
  float gainControlMs = 0.0f;
  float temporalFilterMs = 0.0f;
  float resamplingMs = 0.0f;
  float filteringMs = 0.0f;
};
