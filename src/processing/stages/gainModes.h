#pragma once

#include <cstdint>

#include "processing/FrameContext.h"

// The ways in which `mapLevels` maps a frame. Each maps the working image in place and brings `colorCounts`
// and `valueTable` up to date with the output levels.

/// Linear between two bounds. Crossed bounds change nothing.
void mapBetween(FrameContext& frame, std::uint16_t low, std::uint16_t high);

/// Mode 3: histogram gain control with `mappingParameter` as weight, then the contrast table.
void equalizeLevels(FrameContext& frame);

/// Mode 4: judges the scene by the millikelvin that one of 255 grey levels would stand for. Below the band
/// the span is widened, linearly; within it equalisation comes in gradually; above it is full.
/// The contrast table follows.
void mapTemperatureWindow(FrameContext& frame);
