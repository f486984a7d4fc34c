#pragma once

#include <cstdint>
#include <string>

#include "processing/FrameContext.h"

// What the stages of the calibration runs share. With the frame mutex held.

/// Takes up a shutter run that was asked for, or puts back what a cancelled one had borrowed. Before any
/// table is used for the frame.
void beginShutterRun(FrameContext& frame);
/// Ends a running automatic calibration without a result; what it replaced is in force again.
void cancelCalibration(FrameContext& frame);
/// Writes a table file, and its directory first. temperature: degrees Celsius.
void saveTable(const image<unsigned int>& table, std::uint16_t frames, float temperature,
               const std::string& path);
