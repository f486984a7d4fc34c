#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tools {

/// What the picture of a black body is like after a stage, from the pixel by pixel mean of several frames.
struct StageFigures {
  double spatialMk =
      0.0;  ///< spread of the good pixels' fixed pattern, what noise leaves in the means taken out
  double spatialAllMk = 0.0;  ///< spread of all pixels but those without a picture
  double columnMk = 0.0;      ///< spread of the column means about their mean over 17 columns
  double temporalMk = 0.0;    ///< root mean square of the good pixels' spreads from frame to frame
  double meanLevel = 0.0;     ///< of the good pixels
};

/// How pixels count.
enum class PixelKind : std::uint8_t { Good, Defective, NoPicture };

/// Spread of the columns' means about the running mean over 17 columns. Values: one mean per column; columns
/// without pixels hold NaN and are left out. At the edges the running mean ends with the image.
double columnSpread(std::span<const double> means);

/// Adds up the frames of a still scene.
class StageRecorder {
 public:
  explicit StageRecorder(std::size_t pixelCount) : first(pixelCount), sums(pixelCount), squares(pixelCount) {}

  /// levels: as many as the recorder has pixels.
  void add(std::span<const std::uint16_t> levels);
  /// kinds: one per pixel, row by row.  mkPerLevel: what a level is worth.  At least two frames were added.
  StageFigures figures(std::span<const PixelKind> kinds, std::size_t width, double mkPerLevel) const;
  void restart() { frames = 0; }

 private:
  unsigned frames = 0;
  // Of differences to the first frame: small numbers, whose squares stay exact.
  std::vector<std::uint16_t> first;
  std::vector<std::int32_t> sums;
  std::vector<float> squares;
};

}  // namespace tools
