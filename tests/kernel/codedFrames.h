#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ombrix/Ombrix.h"

/// Takes the thermal frames of a camera that shows the coded scene, and checks every pixel of each.
class CodedFrames {
 public:
  /// Switches off all that changes levels. camera: opened with this handle, and borrowed.
  CodedFrames(Ombrix& camera, int handle);

  /// Takes the next frame; false when none comes in time, or its pixels are not those of `expectedFrame`.
  bool takeExactly(std::uint64_t expectedFrame);
  /// The same where nothing has arrived yet: a picture of zeros.
  bool takeZeros();
  /// Takes the next frame and checks it against the number that it bears.
  bool takeAny();

  std::uint64_t deliveryNumber() const { return md.frameNumber; }
  std::uint64_t shownFrame() const { return shown; }  ///< number that the last frame bears
  const std::string& complaint() const { return problem; }

 private:
  bool take();
  bool isCoded(std::uint64_t frame);

  Ombrix& camera;
  std::uint64_t width = 0, height = 0;
  std::vector<std::uint16_t> levels;
  Ombrix::metadata md;
  std::uint64_t shown = 0;
  std::string problem;
};
