// Closes the shutter, makes the table of the manual flat field from what the camera sees then, and shows how
// far it is. The table is kept under DATA/ffc and loaded at the next opening.
//
//   flatFieldRun [DATA [FRAMES]]      DATA: existing data directory, default "data"; FRAMES: default 64
//
// A Marlow 3 has no shutter: let it look at something uniform.
// Without a camera: OMBRIX_BACKEND=simulated OMBRIX_SIMULATION=bramble6 flatFieldRun .

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"

namespace {

/// Follows a run by the frames that go by. The switch of the correction is off during the run and on again
/// after it. False: the run has not ended although more than enough frames came, or none came any more.
bool followRun(Ombrix& camera, int frameCount) {
  for (int frames = 0; !camera.getFFC(); ++frames) {
    if (frames > 2 * frameCount + 60 || !camera.getRawFrame(nullptr, nullptr, 2000)) {
      std::printf("\n");
      return false;
    }
    const int percent = frames < frameCount ? 100 * frames / frameCount : 100;
    std::printf("\rflat-field run: %3d %%", percent);
    std::fflush(stdout);
  }
  std::printf("\rflat-field run: done \n");
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string data = argc > 1 ? argv[1] : "data";
  const int frameCount = argc > 2 ? std::atoi(argv[2]) : 64;
  if (frameCount < 1 || frameCount > 65535) {
    std::fputs("FRAMES: 1 to 65535\n", stderr);
    return 2;
  }
  OmbrixSDK sdk;
  if (sdk.getDeviceCount() == 0) {
    std::fputs("no camera found\n", stderr);
    return 1;
  }
  Ombrix camera(0, data);
  camera.closeShutter();
  // Frames that were on their way still show the scene, and the shutter takes a moment.
  for (int i = 0; i < 30; ++i) camera.getRawFrame(nullptr, nullptr, 2000);
  camera.runFFC(false, frameCount);
  const bool done = followRun(camera, frameCount);
  camera.openShutter();
  if (!done) std::fprintf(stderr, "the run did not end: %s\n", camera.getErrorText().c_str());
  return done ? 0 : 1;
}
