#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "processing/kernels/columnStripes.h"
#include "processing/kernels/rowStripes.h"

/// Running state of the column stripe removal: one correction per pass, a moving average over the refreshed
/// frames. A pass measures what the earlier ones have left, so nothing adds up over time.
/// A manual table holds its frames without the offsets that were in force in its run. With the table in force
/// they are the base, and only what the table leaves is measured.
struct ColumnStripeState {
  /// Makes room for images of width x height and forgets all corrections.
  void allocate(std::uint32_t imageWidth, std::uint32_t imageHeight) {
    width = imageWidth;
    steps.allocate(width);
    shifts.allocate(width);
    sample.assign(kernels::columnSampleSize(width, imageHeight), 0);
    profile.assign(width, 0.0);
    gradient.assign(width, 0.0f);
    corrections.clear();
    remainder.assign(std::size_t{imageWidth} * imageHeight, 0);
    base.assign(width, 0.0f);
    held.assign(width, 0.0f);
    holding = beforeTable = false;
    forget();
  }
  /// The next refresh starts the averages anew.
  void forget() {
    refreshes = 0;
    waiting = false;
    std::fill(corrections.begin(), corrections.end(), 0.0f);
  }
  /// From now on the present offsets stay as they are.
  void hold(std::size_t passes) {
    if (holding) return;
    holding = true;
    for (std::size_t x = 0; x < width; ++x) {
      held[x] = beforeTable ? base[x] : 0.0f;
      for (std::size_t pass = 0; pass < passes; ++pass) held[x] += std::round(correction(pass)[x]);
    }
  }
  /// Makes room for `passes` corrections; allocates only when there were never so many.
  void reserve(std::size_t passes) {
    if (corrections.size() < passes * width) corrections.resize(passes * width, 0.0f);
  }
  std::span<float> correction(std::size_t pass) { return {corrections.data() + pass * width, width}; }

  std::uint32_t width = 0;
  kernels::ColumnSteps steps;
  kernels::ColumnShifts shifts;
  std::vector<std::uint16_t> sample;
  std::vector<std::uint16_t> remainder;  ///< what the manual table leaves of the image that is measured
  std::vector<double> profile;
  std::vector<float> gradient;     ///< what the current frame says, one offset per column
  std::vector<float> corrections;  ///< pass by pass, one offset per column
  std::vector<float> base;         ///< whole offsets in the manual table
  std::vector<float> held;         ///< whole offsets of the shutter run in progress, or of the last one
  bool holding = false;
  std::uint32_t refreshes = 0;    ///< frames in the averages
  bool beforeTable = false;       ///< the averages are of what the manual table leaves
  bool waiting = false;           ///< `refreshedAt` is set
  std::uint64_t refreshedAt = 0;  ///< frame of the last refresh; before it, the first frame seen
};

/// Working room of the row stripe removal, which keeps nothing from frame to frame.
struct RowStripeState {
  void allocate(std::uint32_t width, std::uint32_t height) {
    sample.assign(kernels::rowSampleSize(width, height), 0);
    gradient.assign(height, 0.0f);
  }
  std::vector<std::uint16_t> sample;
  std::vector<float> gradient;  ///< one offset per row
};
