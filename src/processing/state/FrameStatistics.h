#pragma once

#include <cstdint>
#include <vector>

#include "processing/kernels/frameMeasurement.h"
#include "processing/levels.h"

/// Marks a running value that has not been initialised: the next frame's own value starts it.
constexpr float kNotInitialised = -1.0f;

struct PixelPosition {
  std::uint16_t x = 0;  ///< column
  std::uint16_t y = 0;  ///< row
  friend bool operator==(const PixelPosition&, const PixelPosition&) = default;
};

/// What is measured on the working image before gain control. The gain control, the overlay and the published
/// raw histogram read it.
struct FrameStatistics {
  static constexpr std::int32_t histogramSize = static_cast<std::int32_t>(kLevels);

  std::vector<std::uint32_t> histogram = std::vector<std::uint32_t>(kLevels);  ///< pixels per level
  kernels::CountBanks banks;
  PixelPosition minPosition;    ///< first occurrence
  PixelPosition maxPosition;    ///< first occurrence
  std::uint16_t frameMean = 0;  ///< unsmoothed, truncated

  float statsSmoothing = 0.9f;  ///< weight of the earlier frames; 0 = none
  float statsMinF = kNotInitialised;
  float statsMaxF = kNotInitialised;
  float statsMeanF = kNotInitialised;
  std::uint16_t statsMin = 0;  ///< smoothed, rounded; likewise below
  std::uint16_t statsMax = 0;
  std::uint16_t statsMean = 0;
};
