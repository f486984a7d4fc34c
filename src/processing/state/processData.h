#pragma once

#include <cstdint>

#include "common/image.h"
#include "common/rgb.h"
#include "presentation/palette.h"
#include "processing/state/FrameStatistics.h"
#include "processing/state/MappingState.h"
#include "processing/state/calibrationState.h"
#include "processing/state/correctionState.h"
#include "processing/state/outputState.h"
#include "processing/state/resamplingState.h"
#include "processing/state/tableStageState.h"

/// Everything the pipeline of one camera keeps between frames: its images, switches and running values.
/// Read and written with the frame mutex held, so a setter takes effect between two frames; the exceptions
/// are atomics.
template <typename T>
struct processData;

template <>
struct processData<unsigned short> {
  /// `lastProcessedFrame` before the first frame.
  static constexpr std::uint64_t kNoFrame = ~std::uint64_t{0};

  processData();

  /// Allocates the images, zero-filled, and restarts the running values; switches and palette stay.
  /// width, height: of the camera, pixels.
  void allocate(std::uint16_t width, std::uint16_t height);
  /// Frees all images. `process` then reports that there is none.
  void release();
  /// Makes preset `index` the camera's current one. Out of range: logs, changes nothing, false.
  bool selectColorPreset(const int& index);

  /// Lends `ffcAccumulator` to a calibration, cleared; slot 0's low table and N are kept aside.
  void borrowAccumulator();
  /// Ends the loan: what was kept is in force again. Does nothing when nothing is lent.
  void returnAccumulator();
  /// Slot 0's low table and the frame count N of all tables: what the table stage corrects with, also while
  /// a calibration sums into `ffcAccumulator`.
  image<unsigned int>& slot0Low() { return kept.borrowed ? kept.slot0Low : ffcAccumulator; }
  std::uint16_t& tableFrames() { return kept.borrowed ? kept.frames : calibration.ffcFramesToTake; }

  image<unsigned short> rawImage;       ///< the delivered frame; corrected and mapped in it
  image<unsigned short> rotatedImage;   ///< takes over from `rawImage` while rotation is on; else empty
  image<unsigned short> correctedCopy;  ///< after correction, before gain control: the radiometric picture
  image<unsigned short> temporalState;  ///< running average of the temporal filter
  image<unsigned short> zoomImage;      ///< after a first resampling that changes anything; else empty
  image<unsigned short> outputImage;    ///< after the second resampling and spatial filter; is colourised
  image<unsigned short> splitImage;     ///< unfiltered half of the split demonstration; else empty
  image<unsigned int> ffcAccumulator;   ///< sum of a calibration's frames; the low table of slot 0
  image<rgb_24b> colorImage;            ///< written by colourisation

  std::uint64_t lastProcessedFrame = kNoFrame;  ///< number of the frame processed last

  Defects defects;
  CalibrationRun calibration;
  FlatFieldState flatField;
  ManualTable manual;
  KeptTable kept;
  ShutterSums shutterSums;
  PolynomialFlatField polynomials;
  TableStageState tableStage;
  Destriping destriping;
  Radiometry radiometry;
  FrameDump dump;
  FrameStatistics statistics;
  MappingState mapping;
  TargetMeasurement target;
  OutputState output;
  ResamplingState resampling;
  StageTimes stageTimes;

  Palette palette;
  float colorizeTimeMs = 0.0f;  ///< duration of the last colourisation

 private:
  void restart();
};
