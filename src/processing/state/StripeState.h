#pragma once

#include <algorithm>
#include <array>
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
    votes.allocate(width);
    offsets.allocate(width);
    shifts.allocate(width);
    sample.assign(kernels::stripeSampleSize(width, imageHeight), 0);
    for (auto* room : {&profile, &sums, &removed, &total}) room->assign(width, 0.0f);
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
  /// The passes [first, end), which share what is measured of a frame and are taken in one go.
  struct PassGroup {
    std::size_t first, end;
  };
  static std::array<PassGroup, 2> groups(std::size_t passes) { return {{{0, 1}, {1, passes}}}; }
  /// Sums the corrections of a group into `total`.
  void addUp(PassGroup passes) {
    std::fill(total.begin(), total.end(), 0.0f);
    for (std::size_t pass = passes.first; pass < passes.end; ++pass) {
      for (std::size_t x = 0; x < width; ++x) total[x] += correction(pass)[x];
    }
  }
  /// From now on the present offsets stay as they are; with no passes there are none, whatever the table in
  /// force has.
  void hold(std::size_t passes) {
    if (holding) return;
    holding = true;
    std::fill(held.begin(), held.end(), 0.0f);
    if (passes == 0) return;
    if (beforeTable) held = base;
    for (const PassGroup group : groups(passes)) {
      addUp(group);
      for (std::size_t x = 0; x < width; ++x) held[x] += std::round(total[x]);
    }
  }
  /// Makes room for `passes` corrections; allocates only when there were never so many.
  void reserve(std::size_t passes) {
    if (corrections.size() < passes * width) corrections.resize(passes * width, 0.0f);
  }
  std::span<float> correction(std::size_t pass) { return {corrections.data() + pass * width, width}; }

  std::uint32_t width = 0;
  kernels::ColumnVotes votes;
  kernels::StripeOffsets offsets;  ///< what the last refreshed frame says
  kernels::ColumnShifts shifts;
  std::vector<std::uint16_t> sample;
  std::vector<float> profile, sums;      ///< working room, as the two following; one element per column
  std::vector<float> removed;            ///< what the earlier passes take, measured as the offsets are
  std::vector<float> total;              ///< sum of the corrections so far
  std::vector<float> corrections;        ///< pass by pass, one offset per column
  std::vector<std::uint16_t> remainder;  ///< what the manual table leaves of the image that is measured
  std::vector<float> base;               ///< whole offsets in the manual table
  std::vector<float> held;               ///< whole offsets of the shutter run in progress, or of the last one
  bool holding = false;
  bool beforeTable = false;       ///< the averages are of what the manual table leaves
  std::uint32_t refreshes = 0;    ///< frames in the averages
  bool waiting = false;           ///< `refreshedAt` is set
  std::uint64_t refreshedAt = 0;  ///< frame of the last refresh; before it, the first frame seen
};

/// Working room of the row stripe removal, which keeps nothing from frame to frame.
struct RowStripeState {
  void allocate(std::uint32_t width, std::uint32_t height) {
    offsets.allocate(height);
    sample.assign(kernels::stripeSampleSize(width, height), 0);
    for (auto* room : {&removed, &total}) room->assign(height, 0.0f);
  }
  kernels::StripeOffsets offsets;
  std::vector<std::uint16_t> sample;
  std::vector<float> removed;  ///< what the earlier passes take, against the neighbouring rows
  std::vector<float> total;    ///< what the passes take, one offset per row
};
