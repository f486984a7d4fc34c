#pragma once

#include <cstdint>
#include <vector>

#include "common/image.h"

// Corrections of a whole image that split its rows over `processingPool`. Images of different pixel counts
// are left as they are. Processing task only.

/// Exponentially weighted moving average: frame and state become state * alpha + frame * (1 - alpha),
/// truncated. alpha: weight of the past, 0 to 1.
void EWMA(image<unsigned short>& frame, image<unsigned short>& state, const float& alpha,
          const unsigned int& processingUnits);

/// Radiometric levels from evaluated polynomials, in place: ((raw - offset) * gain - rangeMinK) *
/// (65535 / rangeSpanK), limited and truncated. A pixel whose gain is not finite becomes 0.
void applyFFC(image<unsigned short>& frame, const image<float>& gain, const image<float>& offset,
              const float& rangeMinK, const float& rangeSpanK, const unsigned int& processingUnits);

/// Replaces every level by its entry in `table`, which has one entry per level; otherwise nothing changes.
void applyThermographicCorrection(image<unsigned short>& frame, const std::vector<std::uint16_t>& table,
                                  const unsigned int& processingUnits);
