// Opening, steering, losing and closing cameras while frames flow.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "core/Core.h"
#include "core/deviceRegistry.h"
#include "core/runtimeFlags.h"
#include "core/settings.h"
#include "platform/system.h"
#include "presentation/overlays/overlayFonts.h"
#include "support/SdkRig.h"
#include "support/scratchFiles.h"
#include "support/waitFor.h"
#include "support/workingFolder.h"

#if defined(__linux__)
#include "acquisition/backends/v4l2/LinuxSystemCalls.h"
#endif

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int kTimeoutMs = 20000;

/// The bound of a destruction. A sanitizer or a machine that is busy elsewhere makes the frame that is being
/// processed take seconds; a hang lasts longer than this all the same.
constexpr auto kClosingBound = 8s;

/// Destroys the SDK and says how long that took.
Clock::duration closingTime(SdkRig& rig) {
  const auto start = Clock::now();
  rig.sdk.reset();
  EXPECT_FALSE(freeRunMode || workerRunningFlag);
  return Clock::now() - start;
}

bool fontsLoaded() {
  FairLock lock(frameMutex);
  return overlayFonts().text.loaded();
}

}  // namespace

TEST(LifeCycle, WithoutCamerasItComesUpAndSaysSo) {
  const LogCapture log;
  platform::setEnvironmentVariable("OMBRIX_BACKEND", std::nullopt);
#if defined(__linux__)
  const ScratchFolder empty;  // a system without video, whatever is plugged into this one
  const auto calls = std::make_shared<v4l2::LinuxSystemCalls>();
  calls->sysRoot = empty.path("sys");
  v4l2::setSystemCallsForTesting(calls);
#endif
  transport::installVideoPlatform(nullptr);
  {
    OmbrixSDK sdk(OmbrixSDK::verbosityDebug, -3);
    EXPECT_TRUE(OmbrixSDK::mStatus);
    EXPECT_EQ(sdk.getDeviceCount(), 0);
    EXPECT_EQ(sdk.getDeviceName(0), "Invalid index");
    EXPECT_TRUE(settings::current().verbose);
    EXPECT_EQ(settings::current().processingUnits, static_cast<int>(ThreadPool::hardwareThreads()));
    sdk.parseCoreParameter(std::string("bitRate=7\0xyz", 13));
    EXPECT_EQ(settings::current().bitRate, 7);
    const OmbrixSDK copy(sdk);
  }
  EXPECT_TRUE(log.contains("No video capture device found"));
#if defined(__linux__)
  v4l2::setSystemCallsForTesting(nullptr);
#endif
  transport::installVideoPlatform(nullptr);
  EXPECT_EQ(settings::inst(), nullptr);
}

TEST(LifeCycle, TheWorkerMayRunBeforeTheFirstCamera) {
  SdkRig rig("marlow3;scene=coded");
  Core::init();
  EXPECT_TRUE(freeRunMode && workerRunningFlag);
  Ombrix camera(0);
  EXPECT_EQ(rig.log.count("Starting worker thread"), 1u);
  EXPECT_EQ(rig.log.count("Worker thread is already running"), 1u);
  EXPECT_TRUE(camera.getRawFrame(nullptr, nullptr, kTimeoutMs));
  EXPECT_TRUE(fontsLoaded());
  rig.sdk.reset();
  EXPECT_FALSE(fontsLoaded());
}

TEST(LifeCycle, ACameraThatCannotBeOpenedSaysWhyAndHarmsNobody) {
  SdkRig rig("marlow3,bramble6,hollis12;scene=coded;step=on;bramble6.fault=refuse-start:9");
  rig.sdk->parseCoreParameter("HollisV4L2");
  Ombrix unknown(7), refused(1), placeholder(2), good(0);
  EXPECT_EQ(unknown.getErrorText(), "device 0x0000:0x0000 () not found!");
  EXPECT_EQ(refused.getErrorText(), "Unable to start Bramble 6 streaming!");
  EXPECT_EQ(placeholder.getErrorText(), "Unable to connect to Hollis 12!");
  EXPECT_EQ(good.getErrorText(), "none");
  for (const char* line : {"device 0x0000:0x0000 () not found!", "Unable to start Bramble 6 streaming!",
                           "Unable to connect to Hollis 12!"}) {
    EXPECT_EQ(rig.log.count(line), 1u) << line;
  }
  for (int handle : {0, 1, 2, 7}) EXPECT_TRUE(rig.sdk->isConnected(handle)) << handle;
  EXPECT_FALSE(rig.sdk->isConnected(3));

  ASSERT_EQ(rig.platform->pump(0, 1), 1u);
  EXPECT_TRUE(good.getRawFrame(nullptr, nullptr, kTimeoutMs));
  const auto transfers = rig.platform->camera(1).transfers().size();
  for (Ombrix* dead : {&unknown, &refused, &placeholder}) {
    EXPECT_FALSE(dead->getRawFrame(nullptr, nullptr, 5));
    EXPECT_FALSE(dead->getColorFrame(nullptr, nullptr, 5));
    dead->closeShutter();
    dead->softwareTriggerRequest();
    int preset = 3;
    dead->setColorPreset(preset);
    EXPECT_EQ(dead->getSerialNumber(), dead == &refused ? "466001360" : "");
  }
  EXPECT_EQ(rig.platform->camera(1).transfers().size(), transfers) << "no shutter of a camera nobody can use";
  EXPECT_LT(closingTime(rig), kClosingBound);
}

TEST(LifeCycle, AnUnknownHandleGetsNeutralAnswers) {
  SdkRig rig("marlow3;step=on");
  Ombrix first(0);
  Ombrix camera(first);
  rig.sdk.reset();
  rig.log.clear();
  Ombrix::metadata md;
  std::uint64_t width = 3, height = 3;
  unsigned short a = 1, b = 1, c = 1, d = 1;
  int preset = 44;
  EXPECT_FALSE(camera.getRawFrame(nullptr, &md, -1));
  EXPECT_FALSE(camera.getColorFrame(nullptr, &md, -1));
  EXPECT_FALSE(camera.getImageSize(width, height));
  camera.getSensorSettings(a, b, c, d);
  EXPECT_EQ(width + height + a + b + c + d, 0u);
  EXPECT_EQ(camera.getPartNumber() + camera.getSerialNumber() + camera.getErrorText(), "");
  EXPECT_EQ(camera.getDeviceFrameRate() + camera.getProcessingFrameRate() + camera.getSensorTemperature(),
            0.0f);
  EXPECT_FALSE(camera.setDeviceFrameRate(30.0f));
  camera.setProcessingFrameRate(30.0f);
  camera.softwareTriggerRequest();
  camera.closeShutter();
  camera.openShutter();
  camera.setMappingMode(Ombrix::mappingManual, 1, 2);
  EXPECT_EQ(camera.getMappingMode(), Ombrix::mappingHistogramTable);
  camera.setColorPreset(preset);
  EXPECT_EQ(preset, 44);
  EXPECT_EQ(camera.getColorPreset(), 0);
  camera.setFreeRun(true);
  EXPECT_FALSE(camera.getFreeRun());
  EXPECT_EQ(rig.log.count("Device not found in connected devices list. Handle: 0"), 21u);
  EXPECT_EQ(rig.log.lines().size(), 21u) << rig.log.text();
}

TEST(LifeCycle, UnplugLeavesTheOtherCameraAlone) {
  SdkRig rig("marlow3,bramble6;scene=coded;step=on");
  Ombrix survivor(0), victim(1);
  rig.platform->pump(0, 1);
  rig.platform->pump(1, 1);
  ASSERT_TRUE(survivor.getColorFrame(nullptr, nullptr, kTimeoutMs));
  ASSERT_TRUE(victim.getColorFrame(nullptr, nullptr, kTimeoutMs));
  freeRunMode = false;  // the victim's last frame waits
  rig.platform->pump(1, 1);
  ASSERT_EQ(rig.platform->camera(1).apply("unplug"), "");
  ASSERT_TRUE(waitFor([&] {
    rig.platform->pump(1, 1);
    return SdkRig::acquisition(1).isLost();
  }));
  freeRunMode = true;
  for (int i = 0; i < 8; ++i) {
    rig.platform->pump(0, 1);
    EXPECT_TRUE(survivor.getColorFrame(nullptr, nullptr, kTimeoutMs));
  }
  EXPECT_FALSE(victim.getColorFrame(nullptr, nullptr, 5));
  EXPECT_TRUE(rig.sdk->isConnected(1));
  EXPECT_EQ(victim.getErrorText(), "none");
  EXPECT_EQ(rig.log.count("camera lost"), 1u) << rig.log.text();
  EXPECT_LT(closingTime(rig), kClosingBound);
}

TEST(LifeCycle, RawAndColourConsumersBothGetTheirFrames) {
  SdkRig rig("marlow3;scene=coded;step=on");
  Ombrix camera(0);
  constexpr std::uint64_t kFrames = 90;
  std::atomic<std::uint64_t> rawLast{0}, colorLast{0}, rawCount{0}, colorCount{0};
  std::thread rawConsumer([&] {
    Ombrix own(camera);
    Ombrix::metadata md;
    while (rawLast < kFrames && own.getRawFrame(nullptr, &md, kTimeoutMs)) {
      ++rawCount;
      rawLast = md.frameNumber;
    }
  });
  std::thread colorConsumer([&] {
    Ombrix own(camera);
    Ombrix::metadata md;
    while (colorLast < kFrames && own.getColorFrame(nullptr, &md, kTimeoutMs)) {
      ++colorCount;
      colorLast = md.frameNumber;
    }
  });
  for (std::uint64_t n = 1; n <= kFrames; ++n) {
    rig.platform->pump(0, 1);
    if (waitFor([&] { return rawLast == n && colorLast == n; }, 20s)) continue;
    ADD_FAILURE() << "frame " << n << " reached " << rawLast << " and " << colorLast;
    rig.sdk.reset();  // frees the consumers
    break;
  }
  rawConsumer.join();
  colorConsumer.join();
  EXPECT_EQ(rawCount, kFrames);
  EXPECT_EQ(colorCount, kFrames);
}

TEST(LifeCycle, DestructionFreesBlockedCallers) {
  SdkRig rig("marlow3,bramble6;scene=coded;step=on");
  Ombrix published(0), silent(1);
  ASSERT_EQ(rig.platform->pump(0, 1), 1u);
  Ombrix::metadata md;
  ASSERT_TRUE(published.getRawFrame(nullptr, &md, kTimeoutMs));
  ASSERT_TRUE(published.getColorFrame(nullptr, nullptr, kTimeoutMs));
  constexpr int kRawCallers = 5;
  std::atomic<int> rawAnswers{0}, colorAnswer{-1}, silentAnswer{-1};
  std::vector<std::thread> a;
  for (int i = 0; i < kRawCallers; ++i) {
    a.emplace_back([&] {
      Ombrix own(published);
      Ombrix::metadata again;
      rawAnswers += own.getRawFrame(nullptr, &again, -1) && again.frameNumber == 1;
      EXPECT_EQ(again.framesSinceLastCall, 0u);
    });
  }
  std::thread b([&] { colorAnswer = Ombrix(published).getColorFrame(nullptr, nullptr, -1); });
  std::thread c([&] { silentAnswer = silent.getColorFrame(nullptr, nullptr, 3600000); });
  ASSERT_TRUE(waitFor(
      [&] { return SdkRig::acquisition(0).users == kRawCallers + 1 && SdkRig::acquisition(1).users == 1; }));
  EXPECT_LT(closingTime(rig), kClosingBound);
  for (std::thread& caller : a) caller.join();
  b.join();
  c.join();
  EXPECT_EQ(rawAnswers, kRawCallers) << "the last frame once more";
  EXPECT_EQ(colorAnswer, 1);
  EXPECT_EQ(silentAnswer, 0) << "there never was a frame";
}

TEST(LifeCycle, NobodyEntersACameraThatIsBeingClosed) {
  SdkRig rig("marlow3;scene=coded;step=on");
  Ombrix camera(0);
  ASSERT_EQ(rig.platform->pump(0, 1), 1u);
  ASSERT_TRUE(camera.getRawFrame(nullptr, nullptr, kTimeoutMs));
  ASSERT_EQ(rig.platform->camera(0).apply("slow-stop:10000"), "");
  std::thread closer([&rig] { rig.sdk.reset(); });
  EXPECT_TRUE(waitFor([] { return !workerRunningFlag; }));
  EXPECT_FALSE(camera.getRawFrame(nullptr, nullptr, -1)) << "not even the last frame";
  closer.join();
}

TEST(LifeCycle, ClosingWaitsForCallsInProgressButNotForEver) {
  SdkRig rig("marlow3,bramble6;step=on");
  const Ombrix first(0), second(1);
  const std::unique_ptr<imageAcquisition> left(&SdkRig::acquisition(1));
  auto ending = std::make_unique<registry::DeviceUser>(0, LOG_HERE);
  const registry::DeviceUser staying(1, LOG_HERE);
  std::thread closer([&rig] { rig.sdk.reset(); });
  EXPECT_FALSE(waitFor([&] { return rig.log.contains("A call is still in progress"); }, 300ms));
  ending.reset();
  closer.join();
  EXPECT_EQ(rig.log.count("A call is still in progress"), 1u);
  EXPECT_TRUE(rig.log.contains("A call is still in progress on Bramble 6, leaving it"));
  EXPECT_EQ(left->getErrorText(), "none") << "freed under its caller";
}

TEST(LifeCycle, ClosingRemovesWhatAViewerLeftBehind) {
  WorkingFolder folder;
  std::filesystem::create_directory("data");
  for (const char* name : {"data/Tarn_Vale_Viewer.pid", "data/Tarn_Vale_Viewer.ppid"}) folder.file(name, "1");
  SdkRig("marlow3;step=on").sdk.reset();
  EXPECT_TRUE(std::filesystem::is_empty("data"));
}

TEST(LifeCycle, DestructionIsBoundedWhateverTheCameraDoes) {
  for (const char* fault : {"unplug", "stall", "slow-stop:10000", "failed:1000000", "short:1000000"}) {
    SdkRig rig(kFullSpeed ? "marlow3,bramble6,hollis12;scene=coded"
                          : "marlow3,bramble6,hollis12;scene=coded;rate=1");
    Ombrix cameras[] = {Ombrix(0), Ombrix(1), Ombrix(2)};
    for (auto& camera : cameras) ASSERT_TRUE(camera.getColorFrame(nullptr, nullptr, kTimeoutMs));
    for (std::size_t i = 0; i < 3; ++i) ASSERT_EQ(rig.platform->camera(i).apply(fault), "");
    EXPECT_LT(closingTime(rig), kClosingBound) << fault;
    EXPECT_EQ(rig.platform->startCount(), 0) << fault;
  }
}

TEST(LifeCycle, DestructionOvertakesASlowOpening) {
  // Twenty transfers of 400 ms each would be needed to open this camera.
  SdkRig rig("marlow3;scene=coded;step=on;fault=slow-register:400:1000");
  std::thread opener([] { Ombrix camera(0); });
  EXPECT_TRUE(waitFor([&] { return !rig.platform->camera(0).transfers().empty(); }));
  EXPECT_LT(closingTime(rig), kClosingBound);
  opener.join();
  EXPECT_EQ(rig.platform->startCount(), 0);
}

TEST(LifeCycle, ATriggerLetsOneFrameThrough) {
  SdkRig rig("marlow3;scene=coded;step=on");
  Ombrix camera(0);
  camera.setFreeRun(false);
  // A temperature comes every 100 ms; a trigger does not wait for it.
  Ombrix::metadata md;
  for (std::uint64_t n = 1; n <= 3; ++n) {
    ASSERT_EQ(rig.platform->pump(0, 1), 1u);
    camera.softwareTriggerRequest();
    ASSERT_TRUE(camera.getRawFrame(nullptr, &md, kTimeoutMs));
    EXPECT_EQ(md.frameNumber, n);
  }
}

TEST(LifeCycleDeathTest, AProcessMayEndWithCamerasStreaming) {
  // An emulated program can fork, but not start itself anew.
  ::testing::FLAGS_gtest_death_test_style = OMBRIX_EMULATED ? "fast" : "threadsafe";
  EXPECT_EXIT(
      {
        transport::installVideoPlatform(simulation::makeSimulatedPlatform("marlow3,bramble6;scene=coded"));
        auto* const sdk = new OmbrixSDK;
        auto* const first = new Ombrix(0);
        auto* const second = new Ombrix(1);
        for (int i = 0; i < 5; ++i) first->getRawFrame(nullptr, nullptr, kTimeoutMs);
        std::exit(sdk->isConnected(1) && second->getColorFrame(nullptr, nullptr, kTimeoutMs) ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(LifeCycle, FreeRunOffPairsFramesOfThatCameraOnly) {
  SdkRig rig("marlow3,bramble6;scene=coded;rate=100");
  Ombrix paired(0), other(1);
  ASSERT_TRUE(paired.getRawFrame(nullptr, nullptr, kTimeoutMs));
  EXPECT_TRUE(paired.getFreeRun());
  paired.setFreeRun(false);
  EXPECT_FALSE(other.getFreeRun());
  // What was published before the switch may still be taken.
  ASSERT_TRUE(waitFor([&] { return !other.getRawFrame(nullptr, nullptr, 50); }));
  Ombrix::metadata md;
  EXPECT_TRUE(waitFor([&] {
    return paired.getRawFrame(nullptr, &md, kTimeoutMs) && md.framesSinceLastCall >= 5;
  })) << "ten temperatures a second for a hundred frames";
  paired.setFreeRun(true);
  EXPECT_TRUE(other.getRawFrame(nullptr, nullptr, kTimeoutMs));
}

TEST(LifeCycle, ControlsJudgeTheirArguments) {
  SdkRig rig("marlow3;scene=coded;step=on");
  Ombrix camera(0);
  const auto& mapping = SdkRig::acquisition(0).processing.mapping;
  camera.setMappingMode(Ombrix::mappingManual, 12.9f, 60000.0f);
  camera.setMappingMode(Ombrix::mappingLinear, -5.0f, 70000.0f);
  EXPECT_EQ(camera.getMappingMode(), Ombrix::mappingLinear);
  EXPECT_EQ(mapping.mappingLow, 12);
  EXPECT_EQ(mapping.mappingHigh, 60000);
  camera.setMappingMode(Ombrix::mappingEqualized, 0.5f, NAN);
  EXPECT_EQ(mapping.mappingParameter, 0.5f);
  EXPECT_EQ(mapping.mappingHigh, 60000);

  auto& limit = SdkRig::acquisition(0).rateLimit;
  for (const auto& [given, stored] : {std::pair{0.2f, 1.0f}, {NAN, 1.0f}, {25.0f, 25.0f}}) {
    camera.setProcessingFrameRate(given);
    EXPECT_EQ(limit, stored) << given;
  }
  EXPECT_FALSE(camera.setDeviceFrameRate(30.0f));
  EXPECT_TRUE(rig.log.contains("Not implemented."));
}

TEST(LifeCycle, ARateLimitThinsTheFrames) {
  SdkRig rig("marlow3;scene=coded;rate=100");
  Ombrix camera(0);
  camera.setProcessingFrameRate(5.0f);
  // Frames of before the limit may still be there.
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(camera.getRawFrame(nullptr, nullptr, kTimeoutMs));
  const auto start = Clock::now();
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(camera.getRawFrame(nullptr, nullptr, kTimeoutMs));
  EXPECT_GT(Clock::now() - start, 550ms) << "four frames at five a second, the first of them perhaps at once";
  camera.setProcessingFrameRate(100.0f);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(camera.getRawFrame(nullptr, nullptr, kTimeoutMs));
  camera.setProcessingFrameRate(1.0f);
  EXPECT_TRUE(waitFor([&] { return !camera.getRawFrame(nullptr, nullptr, 200); })) << "one a second";
}

TEST(LifeCycle, TheShutterMovesOnTheModelsThatHaveOne) {
  SdkRig rig("marlow3,bramble6,hollis12;step=on");
  Ombrix cameras[] = {Ombrix(0), Ombrix(1), Ombrix(2)};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto before = rig.platform->camera(i).transfers().size();
    cameras[i].closeShutter();
    EXPECT_EQ(rig.platform->camera(i).shutterClosed(), i != 0);
    EXPECT_EQ(rig.platform->camera(i).transfers().size(), before + (i != 0)) << "written without a reply";
    cameras[i].openShutter();
    EXPECT_FALSE(rig.platform->camera(i).shutterClosed());
  }
}
