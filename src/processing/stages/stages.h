#pragma once

#include "processing/FrameContext.h"

// The stages, in the order in which `process` calls them. Each judges its own gate, picks buffers and running
// state, and leaves the pixels to a kernel. All run with the frame mutex held, on the processing task.

/// Takes note of the frame's number; reports a gap in the middle of a dump.
void noteFrameNumber(FrameContext& frame);

/// Repairs the listed pixels of the working image. Runs twice: before and after the corrections.
void repairDefects(FrameContext& frame);
/// Logs the raw minimum and maximum when asked to.
void reportRawRange(FrameContext& frame);

/// Starts a calibration when the sensor has warmed by a degree.
void triggerCalibration(FrameContext& frame);
/// Adds the frame to a running calibration and ends it after its last frame.
void accumulateCalibration(FrameContext& frame);
/// Fetches other flat-field tables when the sensor temperature has left the range of the current ones.
void refreshFlatField(FrameContext& frame);
/// Applies, or shows, the tables or polynomials of the flat-field mode.
void applyFlatField(FrameContext& frame);
void removeColumnStripes(FrameContext& frame);
void removeRowStripes(FrameContext& frame);
/// Applies the manual table, and drives a shutter run.
void applyManualFlatField(FrameContext& frame);
void correctTemperatures(FrameContext& frame);

/// Keeps the radiometric picture that is published and that temperatures are read from.
void keepCorrectedCopy(FrameContext& frame);
/// Hands a copy of the corrected picture to the file writer.
void dumpFrame(FrameContext& frame);
/// Turns the picture; the rotated image is the working image from then on.
void rotateFrame(FrameContext& frame);

void measureStatistics(FrameContext& frame);
/// Shifts the frame by the difference of its mean and the smoothed mean.
void compensateLevel(FrameContext& frame);
/// Gain control by mapping mode.
void mapLevels(FrameContext& frame);
/// Brings levels that no stage has changed into the working image.
void leaveCorrectedCopy(FrameContext& frame);
/// Measures temperature and noise of the image centre.
void measureTarget(FrameContext& frame);

void filterTemporally(FrameContext& frame);
/// First and second resampling, and the plain copy of the split demonstration. Decides whether the spatial
/// filter runs, because its input stays apart from the output image.
void resampleFrame(FrameContext& frame);
/// From the resampled picture to the output image, where `resampleFrame` has left that to it.
void filterSpatially(FrameContext& frame);
/// The split picture and the test pattern.
void showDemonstrations(FrameContext& frame);

/// Waits for this frame's file writer.
void finishDump(FrameContext& frame);
