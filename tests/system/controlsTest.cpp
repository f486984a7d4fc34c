// Every member of a camera, from several threads, while its frames flow.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/SdkRig.h"
#include "support/scratchFiles.h"

namespace {

using namespace std::chrono_literals;

constexpr int kTimeoutMs = 20000;

/// Round i of an application that turns every knob.
void turnEverySwitch(Ombrix& camera, int i) {
  const bool on = i % 2 != 0;
  int preset = i % 13 - 1;
  camera.setFFC(on);
  camera.runFFC(false, 1 + i % 3);
  camera.setDefectivePixelsCorrection(!on);
  camera.setShutterlessCorrection(on);
  camera.setRadiometricCorrection(on);
  camera.setColumnDestriping(!on);
  camera.setTemporalFiltering(on ? 0.6f : 0.0f);
  camera.setMappingMode(static_cast<Ombrix::mapping>(i % 6), 100.0f, 9000.0f);  // one of six is none
  camera.setColorPreset(preset);
  camera.setProcessingFrameRate(500.0f);
  camera.closeShutter();
  camera.openShutter();
}

/// Round i of one that reads everything.
float readEverything(Ombrix& camera, int i) {
  std::vector<std::pair<int, int>> pixels;
  std::uint64_t width = 0, height = 0;
  unsigned short settings[4] = {};
  camera.getImageSize(width, height);
  camera.getSensorSettings(settings[0], settings[1], settings[2], settings[3]);
  const Ombrix copy(camera);
  const int switches = camera.getFFC() + camera.getDefectivePixelsCorrection() +
                       camera.getDefectivePixelsCorrection(pixels) + camera.getShutterlessCorrection() +
                       camera.getRadiometricCorrection() + camera.getColumnDestriping() + camera.getFreeRun();
  const std::size_t texts =
      (camera.getPartNumber() + camera.getSerialNumber() + camera.getErrorText()).size() + pixels.size();
  return static_cast<float>(switches) + static_cast<float>(texts) + camera.getTemporalFiltering() +
         static_cast<float>(camera.getMappingMode()) + static_cast<float>(camera.getColorPreset()) +
         camera.getSensorTemperature() + camera.getPixelTemperature(i % 400 - 10, i % 300 - 10, 0.9f) +
         camera.getDeviceFrameRate() + camera.getProcessingFrameRate();
}

}  // namespace

TEST(Controls, AnyThreadMayUseThemWhileFramesFlow) {
  const ScratchFolder scratch;  // for the tables of the shutter runs
  SdkRig rig("marlow3;scene=coded;rate=200");
  Ombrix camera(0, scratch.path("set"));
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int first : {0, 1}) {
    threads.emplace_back([&, first] {
      Ombrix own(camera);
      for (int i = first; !stop; ++i) {
        turnEverySwitch(own, i);
        std::this_thread::sleep_for(1ms);
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; !stop; ++i) {
      EXPECT_GT(readEverything(camera, i), -1000.0f);
      rig.sdk->parseCoreParameter("bitRate=" + std::to_string(i));
      rig.sdk->parseCoreParameter(i % 2 ? "font=A" : "font=Calibri_24_AA");
    }
  });
  threads.emplace_back([&] {
    for (int i = 0; !stop; ++i) {
      camera.setFreeRun(i % 2 != 0);
      camera.softwareTriggerRequest();
      camera.setFreeRun(true);
      std::this_thread::sleep_for(1ms);  // a plain mutex taken in a hot loop would shut the frames out
    }
  });
  threads.emplace_back([&] {
    while (!stop) camera.runFFC(true, 2);
  });
  TakenFrame frame(camera);
  for (int i = 0; i < 20 && !HasFailure(); ++i) {
    EXPECT_TRUE(frame.takeColor(camera, kTimeoutMs));
    EXPECT_TRUE(frame.takeRaw(camera, kTimeoutMs));
  }
  stop = true;
  for (auto& thread : threads) thread.join();
}
