// Streams, notices when the camera is lost, and goes on when it is back.
//
//   lostCamera [LOSSES]      ends after so many losses, and thirty frames more; default: 1
//
// Without a camera, one whose plug is pulled after a second and put back two seconds later:
//   OMBRIX_BACKEND=simulated OMBRIX_SIMULATION='marlow3;fault=unplug@1s;fault=replug@3s' lostCamera

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

namespace {

constexpr int kTimeoutMs = 1000;
constexpr int kFramesAfterwards = 30;
constexpr int kAttempts = 60;

/// Takes frames until none comes any more, or until `limit` have come. Returns how many came.
int stream(Ombrix& camera, int limit) {
  int frames = 0;
  while (frames < limit && camera.getRawFrame(nullptr, nullptr, kTimeoutMs)) ++frames;
  return frames;
}

/// One life of the SDK: an object that was opened on a lost camera stays dead, so the camera is looked for
/// anew. Returns the frames that came; 0 when there was no camera, or none that works.
int oneLife(int limit) {
  OmbrixSDK sdk;
  if (sdk.getDeviceCount() == 0) return 0;
  Ombrix camera(0);
  const int frames = stream(camera, limit);
  if (frames < limit) {
    // The text tells a lost camera from one that is silent; both are worth a new attempt.
    std::printf("no frame after %d: %s\n", frames, camera.getErrorText().c_str());
  }
  return frames;
}

}  // namespace

int main(int argc, char** argv) {
  const int losses = argc > 1 ? std::atoi(argv[1]) : 1;
  for (int lost = 0; lost < losses;) {
    if (oneLife(1 << 30) > 0) {
      ++lost;
    } else {
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
  }
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (oneLife(kFramesAfterwards) == kFramesAfterwards) {
      std::printf("the camera is back\n");
      return 0;
    }
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  std::fputs("the camera did not come back\n", stderr);
  return 1;
}
