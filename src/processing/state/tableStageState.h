#pragma once

#include <cstdint>

#include "processing/kernels/polynomialFlatField.h"

/// The level that a pair of tables corrects to. Its mean is a float sum in a fixed order, slow and the same
/// from frame to frame, so the table stage keeps it while it corrects with the same pair without a break.
struct PairTarget {
  const std::uint32_t* low = nullptr;  ///< pixels of the pair; null: nothing kept
  const std::uint32_t* high = nullptr;
  std::uint16_t frames = 0;
  std::uint32_t level = 0;
};

/// What table application and polynomial evaluation keep between frames.
struct TableStageState {
  PairTarget pairTarget;
  kernels::ValueRange gainRange;    ///< of the evaluated gains; known after the cubic model only
  kernels::ValueRange offsetRange;  ///< likewise
};
