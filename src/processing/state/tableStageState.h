#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "processing/kernels/polynomialFlatField.h"

/// The level that a pair of tables corrects to. Its mean is a float sum in a fixed order, slow and the same
/// from frame to frame, so the table stage keeps it while it corrects with the same pair without a break.
struct PairTarget {
  const std::uint32_t* low = nullptr;  ///< pixels of the pair; null: nothing kept
  const std::uint32_t* high = nullptr;
  std::uint16_t frames = 0;
  std::uint32_t level = 0;
};

/// By how much the offset correction with one table moves each pixel, while nothing that it depends on
/// changes.
struct KeptShifts {
  struct Origin {
    const std::uint32_t* table = nullptr;  ///< its pixels; null: nothing kept
    std::uint16_t frames = 0;
    std::uint32_t target = 0;
    friend bool operator==(const Origin&, const Origin&) = default;
  };

  Origin origin;
  bool usable = false;               ///< all of them fit
  std::vector<std::int16_t> levels;  ///< empty until the correction is used

  void forget() { origin = {}; }
};

/// What the two-reference correction found out about every pixel, for as long as nothing it depends on
/// changes. The sensor temperature, and with it the weight, changes every few frames only.
struct KeptReferences {
  struct Origin {
    const std::uint32_t* tables[4] = {};  ///< their pixels; null: nothing kept
    std::uint16_t frames = 0;
    float weight = 0.0f;
    float rangeMinK = 0.0f;
    friend bool operator==(const Origin&, const Origin&) = default;
  };

  Origin origin;
  std::vector<float> levelAtMin;  ///< as `PixelReferences`; empty until the correction is used
  std::vector<float> kelvinPerCount;

  /// To be called when tables are exchanged: new ones may come to lie where old ones were.
  void forget() { origin = {}; }
};

/// What table application and polynomial evaluation keep between frames.
struct TableStageState {
  PairTarget pairTarget;
  KeptShifts shifts;
  KeptReferences references;
  kernels::ValueRange gainRange;    ///< of the evaluated gains; known after the cubic model only
  kernels::ValueRange offsetRange;  ///< likewise
};
