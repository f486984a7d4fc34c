#include "kernel/codedFrames.h"

#include "acquisition/backends/simulated/scene.h"
#include "acquisition/imageAcquisition.h"
#include "common/format.h"
#include "core/deviceRegistry.h"
#include "core/frameMutex.h"
#include "core/logger.h"

namespace {

constexpr int kTimeoutMs = 20000;
constexpr std::uint64_t kWidthWithoutTemperature = 1280;  // narrower ones carry it in the last pixel

}  // namespace

CodedFrames::CodedFrames(Ombrix& opened, int handle) : camera(opened) {
  camera.setColumnDestriping(false);
  camera.setDefectivePixelsCorrection(false);
  // What follows the thermal frame costs an emulated processor seconds.
  camera.setMappingMode(Ombrix::mappingHistogramTable, 0, 65535);
  camera.setTemporalFiltering(0.0f);
  {
    const registry::DeviceUser device(handle, LOG_HERE);
    FairLock lock(frameMutex);
    if (device) device->processing.output.spatialFiltering = false;
  }
  camera.getImageSize(width, height);
  levels.resize(width * height);
}

bool CodedFrames::take() {
  problem.clear();
  if (camera.getRawFrame(reinterpret_cast<std::uint8_t*>(levels.data()), &md, kTimeoutMs)) {
    shown = levels[0] | std::uint64_t{levels[1]} << 14;
    return true;
  }
  problem = "no frame came";
  return false;
}

bool CodedFrames::isCoded(std::uint64_t frame) {
  const std::size_t checked = levels.size() - (width < kWidthWithoutTemperature ? 1 : 0);
  std::uint16_t expected = 0;
  for (std::size_t i = 0; i < checked; ++i) {
    const auto x = static_cast<std::uint32_t>(i % width), y = static_cast<std::uint32_t>(i / width);
    // Along a row the code rises by 7.
    expected = y == 0 || x == 0 ? simulation::codedCount(x, y, frame)
                                : static_cast<std::uint16_t>((expected + 7) & 0x3FFF);
    if (levels[i] == expected) continue;
    problem =
        format("delivery {:d}, pixel {:d},{:d}: {:d} instead of frame {:d}'s {:d}; it bears number {:d}",
               md.frameNumber, x, y, levels[i], frame, expected, shown);
    return false;
  }
  return true;
}

bool CodedFrames::takeExactly(std::uint64_t expectedFrame) { return take() && isCoded(expectedFrame); }

bool CodedFrames::takeAny() { return take() && isCoded(shown); }

bool CodedFrames::takeZeros() {
  if (!take()) return false;
  for (const auto level : levels) {
    if (level == 0) continue;
    problem = format("delivery {:d} is not zero", md.frameNumber);
    return false;
  }
  return true;
}
