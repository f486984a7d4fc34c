#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/calibrationAudit.h"

// What `ombrix selftest` collects from a camera. Plain data, which selftestChecks.h judges.
namespace tools::selftest {

/// A frame as a getter handed it out.
struct FrameRecord {
  std::uint64_t number = 0;
  std::uint64_t sinceLast = 0;
  double seconds = 0.0;  ///< when the getter returned, since the camera was begun to be opened
  float sensorK = 0.0f;
  std::uint64_t serialNumber = 0;
  unsigned min = 0, max = 0;
  std::uint32_t digest = 0;          ///< of the levels
  bool histogramMatches = false;     ///< it counts the levels of this very frame
  std::optional<double> handOverMs;  ///< since the frame's sample came from the camera
};

/// How long a getter that was given so much time blocked.
struct WaitRecord {
  bool colour = false;
  int askedMs = 0;
  double tookMs = 0.0;
  bool delivered = false;
};

/// Registers read once more while the camera streams.
struct RegisterRecord {
  unsigned asked = 0;
  unsigned same = 0;    ///< the answer was that of the camera's opening
  unsigned silent = 0;  ///< no answer, or none that could be read
  double medianMs = 0.0;
  double longestMs = 0.0;
};

/// A shutter run and the mean pictures around it. Spreads are those of the good pixels, differences and noise
/// their root mean squares, all in `unit`. Noise is how far the halves of a mean picture are apart.
struct ShutterRecord {
  std::string unit = "mK";
  double openSpread = 0.0;  ///< as the camera looked out
  double openNoise = 0.0;
  double drift = 0.0;   ///< between two open pictures, as far apart as the open and the closed one
  double change = 0.0;  ///< between open and closed picture
  double noise = 0.0;   ///< behind the closed shutter
  double before = 0.0;  ///< spread behind the closed shutter without the new table
  double after = 0.0;   ///< the same with it
  bool table = false;   ///< the run gave one
};

struct Evidence {
  // The model.
  std::string name;
  std::uint32_t width = 0, height = 0;
  double nominalHz = 0.0;
  std::uint64_t serialNumber = 0;

  double openSeconds = 0.0;
  std::string openError;  ///< why the camera could not be opened; empty: it was
  /// Why collecting ended early, such as "no frame within 2 s"; what is missing below was not reached then.
  std::string ended;
  bool silent = false;            ///< a frame that was waited for did not come
  bool timeUp = false;            ///< the whole took too long
  bool lost = false;              ///< the transport has reported that the camera is gone
  double lostAfterSeconds = 0.0;  ///< by the same clock as frames

  std::vector<FrameRecord> frames;
  bool framesComplete = false;  ///< as many as were asked for
  std::uint64_t damagedSamples = 0;
  unsigned colourFrames = 0, colourFramesAsked = 0;
  std::vector<WaitRecord> waits;
  std::optional<RegisterRecord> registers;
  bool hasShutter = true;
  std::optional<ShutterRecord> shutter;
  std::optional<CalibrationAudit> calibration;
};

}  // namespace tools::selftest
