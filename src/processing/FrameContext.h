#pragma once

#include <cstdint>

#include "acquisition/imageAcquisition.h"
#include "core/settings.h"

/// What the stages are given: one frame on its way through the pipeline of one camera.
struct FrameContext {
  explicit FrameContext(imageAcquisition& camera)
      : acquisition(camera),
        data(camera.processing),
        options(settings::current()),
        number(camera.delivered.number),
        fromFilledSlot(camera.delivered.fromFilledSlot),
        dumping(options.tiffFrameDump && camera.dumpFrames),
        working(&camera.processing.rawImage),
        levels(working) {}

  bool calibrating() const { return data.calibration.ffcCalibrating; }
  bool shutterRun() const { return data.calibration.shutterFFCRunning; }

  void wrote(image<unsigned short>& to) { levels = working = &to; }

  imageAcquisition& acquisition;
  processData<unsigned short>& data;
  const settings& options;
  const std::uint64_t number;      ///< the transport's, latched with the picture
  const bool fromFilledSlot;       ///< false: the ring's initial zeros; no running value may start from them
  const bool dumping;              ///< judged once, so that the stages of a frame agree
  image<unsigned short>* working;  ///< what the stages write to: the raw image, or the rotated one
  /// Where the frame's levels are: in the working image, but for the stages that find them in the corrected
  /// copy, which is not copied: they write what they make of it into the working image, and call `wrote`.
  const image<unsigned short>* levels;
};
