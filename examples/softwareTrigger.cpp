// Takes a frame when the program asks for one, instead of at the camera's rate.
//
//   softwareTrigger [COUNT]      COUNT: of triggers, default 5
//
// Without a camera: OMBRIX_BACKEND=simulated OMBRIX_SIMULATION=bramble6 softwareTrigger

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 5;
  OmbrixSDK sdk;
  if (sdk.getDeviceCount() == 0) {
    std::fputs("no camera found\n", stderr);
    return 1;
  }
  Ombrix camera(0);
  camera.setFreeRun(false);                    // for all cameras of the process
  camera.getRawFrame(nullptr, nullptr, 2000);  // one that was on its way

  Ombrix::metadata metadata;
  for (int i = 0; i < count; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // whatever the program waits for
    // A new reading of the sensor temperature lets a frame through as well: only what comes from now on
    // counts.
    while (camera.getRawFrame(nullptr, nullptr, 0)) {
    }
    camera.softwareTriggerRequest();
    if (!camera.getRawFrame(nullptr, &metadata, 2000)) {
      std::fprintf(stderr, "no frame: %s\n", camera.getErrorText().c_str());
      return 1;
    }
    std::printf("trigger %d: frame %llu\n", i + 1, static_cast<unsigned long long>(metadata.frameNumber));
  }
  camera.setFreeRun(true);
  return 0;
}
