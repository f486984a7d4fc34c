// Two cameras at once, each with a thread of its own that consumes its frames.
//
//   twoCameras [FRAMES]      FRAMES: of each camera, default 100
//
// Without cameras: OMBRIX_BACKEND=simulated OMBRIX_SIMULATION=bramble6,marlow3 twoCameras

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

namespace {

/// What a consumer did; read by main once its thread has ended.
struct Consumed {
  int frames = 0;
  std::uint64_t missed = 0;  ///< since its first frame
  double meanLevel = 0.0;    ///< of the last frame
};

/// Takes `count` frames, or what comes before the first one that does not. A getter hands each frame out
/// once, so each consumer has its own camera object.
void consume(int handle, int count, Consumed& consumed) {
  Ombrix camera(handle);
  std::uint64_t width = 0, height = 0;
  if (!camera.getImageSize(width, height)) return;
  std::vector<std::uint16_t> levels(width * height);
  Ombrix::metadata metadata;
  while (consumed.frames < count) {
    if (!camera.getRawFrame(reinterpret_cast<std::uint8_t*>(levels.data()), &metadata, 2000)) return;
    if (consumed.frames > 0) consumed.missed += metadata.framesSinceLastCall - 1;
    ++consumed.frames;
  }
  double sum = 0.0;
  for (const std::uint16_t level : levels) sum += level;
  consumed.meanLevel = sum / static_cast<double>(levels.size());
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 100;
  // Before all threads, and gone after them: it stops the cameras.
  OmbrixSDK sdk;
  if (sdk.getDeviceCount() < 2) {
    std::fprintf(stderr, "%d of two cameras found\n", sdk.getDeviceCount());
    return 1;
  }
  Consumed first, second;
  std::thread firstConsumer(consume, 0, count, std::ref(first));
  std::thread secondConsumer(consume, 1, count, std::ref(second));
  firstConsumer.join();
  secondConsumer.join();

  int handle = 0;
  for (const Consumed* consumed : {&first, &second}) {
    std::printf("%s: %d frames, %llu missed, mean level %.0f\n", sdk.getDeviceName(handle++).c_str(),
                consumed->frames, static_cast<unsigned long long>(consumed->missed), consumed->meanLevel);
  }
  return first.frames == count && second.frames == count ? 0 : 1;
}
