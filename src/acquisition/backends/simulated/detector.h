#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "acquisition/backends/simulated/cameraModel.h"
#include "acquisition/backends/simulated/fixedPattern.h"

namespace simulation {

/// The scene as the detector sees it: band radiance in equivalent kelvin, one value per sensor pixel.
struct RadianceView {
  const float* data = nullptr;
  std::size_t stride = 0;  ///< values from one row to the next; 0 = every row is the same
};

/// What a detector frame depends on, apart from the scene.
struct DetectorConditions {
  std::uint64_t frame = 0;
  double seconds = 0.0;  ///< since power-on
  double detectorCelsius = 25.0;
  double housingExcessK = 0.0;  ///< housing minus detector
};

/// An uncooled detector: turns radiance into 14-bit counts with the fixed pattern, its drift with detector
/// temperature and time, column drift, row noise, temporal noise and defective pixels.
/// The counts of a frame depend on the seed, the frame number and the conditions given so far, nothing else.
/// One thread at a time.
class Detector {
 public:
  Detector(const CameraModel& model, const DetectorOptions& options);

  /// Brings the slowly changing terms up to date. Called once per frame, whether it is read out or lost.
  void advance(const DetectorConditions& conditions);

  /// Reads row `y` of the current frame: two bytes per pixel, the count's upper eight bits first, the lower
  /// six above two bits of noise. `out` holds 2 * width bytes.
  void readRow(std::uint32_t y, const RadianceView& scene, std::span<std::uint8_t> out) const;

  const FixedPattern& pattern() const { return fixed; }
  std::span<const Defect> defects() const { return defectList; }

 private:
  void allocate();
  void indexDefects();
  void refreshRow(std::uint32_t y);
  void applyDefects(std::uint32_t y, std::span<std::uint8_t> out) const;

  const CameraModel& model;
  const DetectorOptions options;
  const FixedPattern fixed;
  DetectorConditions now;
  double freshD = 0.0, freshHousing = 0.0;  ///< conditions of the last complete refresh
  bool fresh = false;
  float commonLevel = 0.0f;  ///< counts that all pixels share in this frame

  std::vector<float> drift;          ///< random walk, counts
  std::vector<double> driftSeconds;  ///< per row: when its walk was last moved
  std::vector<float> level,
      response;  ///< all fixed and slow terms at the present conditions: counts, counts per kelvin
  std::vector<float> columnPattern;  ///< unit spread, scaled by time into `column`
  std::vector<float> column;
  std::vector<float> noise;        ///< gaussian table of unit spread, longer than a row by its index range
  std::vector<Defect> defectList;  ///< by pixel
  std::vector<std::uint32_t> firstDefectOfRow;  ///< height + 1 indices into the list
};

}  // namespace simulation
