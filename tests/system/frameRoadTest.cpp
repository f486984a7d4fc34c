// From a camera's bytes to the application's frame, one frame at a time.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <numeric>

#include "acquisition/backends/simulated/scene.h"
#include "core/runtimeFlags.h"
#include "support/SdkRig.h"
#include "support/waitFor.h"

namespace {

using namespace std::chrono_literals;

constexpr int kTimeoutMs = 20000;

/// The sample that delivery n (from 1) hands out when every sample is taken at once; 0 is the zero-filled
/// slot.
std::uint64_t sampleOfDelivery(std::uint64_t n) { return n % 4 == 1 ? n - 1 : n; }

void expectCodedPicture(const std::vector<std::uint16_t>& levels, std::uint32_t width, std::uint64_t sample) {
  for (const auto& [x, y] :
       {std::pair{0u, 0u}, {1u, 0u}, {0u, 1u}, {5u, 3u}, {width - 1, 7u}, {width - 2, 200u}}) {
    const std::uint16_t expected = sample == 0 ? 0 : simulation::codedCount(x, y, sample - 1);
    ASSERT_EQ(levels[y * width + x], expected) << "pixel " << x << "," << y << " of sample " << sample;
  }
}

/// The raw counts reach the application as they are, and colours keep their order.
void switchCorrectionsOff(Ombrix& camera) {
  camera.setColumnDestriping(false);
  camera.setDefectivePixelsCorrection(false);
  camera.setMappingMode(Ombrix::mappingLinear, 0, 65535);
}

/// An output that keeps pictures until it is told to go on.
class SlowScreen : public transport::ViewerOutput {
 public:
  explicit SlowScreen(const std::atomic<bool>& goOn) : released(goOn) {}
  void show(ImageView<const rgb_24b>) override {
    const int now = ++showing;
    if (now > most) most = now;
    waitFor([&] { return released.load(); }, 20s);
    --showing;
    ++shown;
  }
  std::atomic<int> showing{0}, most{0}, shown{0};

 private:
  const std::atomic<bool>& released;
};

struct ModelCase {
  const char* scenario;
  std::uint64_t width, height;
  float frameRate;
};

class FrameRoad : public ::testing::TestWithParam<ModelCase> {};

}  // namespace

TEST_P(FrameRoad, DeliversEveryFrameInOrderWithItsNumber) {
  const auto& model = GetParam();
  SdkRig rig(std::string(model.scenario) + ";scene=coded;step=on;fpa=25");
  Ombrix camera(0);
  switchCorrectionsOff(camera);
  EXPECT_EQ(camera.getErrorText(), "none");
  EXPECT_EQ(camera.getDeviceFrameRate(), model.frameRate);
  std::uint64_t width = 0, height = 0;
  ASSERT_TRUE(camera.getImageSize(width, height));
  EXPECT_EQ(width, model.width);
  EXPECT_EQ(height, model.height);

  TakenFrame raw(camera), color(camera);
  for (std::uint64_t n = 1; n <= 9; ++n) {
    ASSERT_EQ(rig.platform->pump(0, 1), 1u);
    ASSERT_TRUE(raw.takeRaw(camera, kTimeoutMs));
    EXPECT_EQ(raw.md.frameNumber, n);
    EXPECT_EQ(raw.md.framesSinceLastCall, 1u);
    EXPECT_EQ(raw.md.serialNumber, 466001359u);
    expectCodedPicture(raw.levels, static_cast<std::uint32_t>(width), sampleOfDelivery(n));
    EXPECT_EQ(std::accumulate(raw.histogram.begin(), raw.histogram.end(), std::uint64_t{0}), width * height);
    EXPECT_EQ(
        raw.histogram[raw.levels[12345]],
        static_cast<std::uint64_t>(std::count(raw.levels.begin(), raw.levels.end(), raw.levels[12345])));
    if (n % 3 != 0) continue;
    ASSERT_TRUE(color.takeColor(camera, kTimeoutMs));
    EXPECT_EQ(color.md.frameNumber, n);
    EXPECT_EQ(color.md.framesSinceLastCall, 3u);
    EXPECT_EQ(std::accumulate(color.histogram.begin(), color.histogram.end(), std::uint64_t{0}),
              width * height);
  }
  // The grey preset keeps the order of levels.
  const std::size_t dark = 1, bright = 5 * width + 9;
  EXPECT_LT(color.colors[dark].r, color.colors[bright].r);
  EXPECT_EQ(color.colors[bright].r, color.colors[bright].g);
  EXPECT_EQ(color.colors[bright].r, color.colors[bright].b);
  EXPECT_FALSE(rig.log.contains("Processing time") || rig.log.contains("Thread is not joinable"));
  rig.sdk->parseCoreParameter("profiling");
  ASSERT_EQ(rig.platform->pump(0, 1), 1u);
  EXPECT_TRUE(waitFor([&] { return rig.log.count("Processing time") == 1; }));
}

INSTANTIATE_TEST_SUITE_P(AllModels, FrameRoad,
                         ::testing::Values(ModelCase{"marlow3", 320, 240, 60.0f},
                                           ModelCase{"bramble6", 640, 480, 60.0f},
                                           ModelCase{"hollis12", 1280, 1024, 30.0f}),
                         [](const auto& model) { return std::string(model.param.scenario); });

TEST(FrameDelivery, ReportsWhatItWaitedFor) {
  SdkRig rig("marlow3;scene=coded;step=on");
  Ombrix camera(0);
  EXPECT_FALSE(camera.getRawFrame(nullptr, nullptr, 0));
  EXPECT_FALSE(camera.getColorFrame(nullptr, nullptr, 0));
  EXPECT_EQ(rig.log.count("not available"), 0u);
  EXPECT_FALSE(camera.getRawFrame(nullptr, nullptr, 1));
  EXPECT_TRUE(rig.log.contains("Thermal frame not available within 1 millisecond. Handle: 0"));
  EXPECT_FALSE(camera.getColorFrame(nullptr, nullptr, 2));
  EXPECT_TRUE(rig.log.contains("Color frame not available within 2 milliseconds. Handle: 0"));

  ASSERT_EQ(rig.platform->pump(0, 1), 1u);
  EXPECT_TRUE(camera.getRawFrame(nullptr, nullptr, kTimeoutMs)) << "nothing to copy to is no failure";
  EXPECT_FALSE(camera.getRawFrame(nullptr, nullptr, 0)) << "each frame once";
  EXPECT_TRUE(camera.getColorFrame(nullptr, nullptr, -1));
}

TEST(FrameDelivery, ASecondHandleCountsForItself) {
  SdkRig rig("marlow3;scene=coded;step=on");
  Ombrix first(0);
  Ombrix::metadata md;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(rig.platform->pump(0, 1), 1u);
    ASSERT_TRUE(first.getRawFrame(nullptr, &md, kTimeoutMs));
  }
  Ombrix second(0);
  EXPECT_TRUE(rig.log.contains("Device is already connected. Handle: 0"));
  Ombrix copy(first);
  ASSERT_EQ(rig.platform->pump(0, 1), 1u);
  ASSERT_TRUE(second.getRawFrame(nullptr, &md, kTimeoutMs));
  EXPECT_EQ(md.framesSinceLastCall, 4u);
  ASSERT_EQ(rig.platform->pump(0, 1), 1u);
  ASSERT_TRUE(copy.getRawFrame(nullptr, &md, kTimeoutMs));
  EXPECT_EQ(md.framesSinceLastCall, 2u);
}

TEST(FrameDelivery, TheRateIsOneOverTheMeanPeriod) {
  SdkRig rig("marlow3;scene=coded;step=on");
  Ombrix camera(0);
  // How far the stamp of the frame before is set back: beside that, what a frame really takes hardly counts.
  for (const auto& [seconds, rate] :
       {std::pair{0, 0.0f}, {1000, 1e-3f}, {2000, 1.0f / 1100.0f}, {-1000, 1.0f / 1100.0f}}) {
    {
      FairLock lock(frameMutex);
      SdkRig::acquisition(0).rawFrame.stampUs -= static_cast<std::uint64_t>(seconds) * 1000000u;
    }
    ASSERT_EQ(rig.platform->pump(0, 1), 1u);
    ASSERT_TRUE(camera.getRawFrame(nullptr, nullptr, kTimeoutMs));
    EXPECT_NEAR(camera.getProcessingFrameRate(), rate, 0.03f * rate) << seconds;
  }
}

TEST(FrameDelivery, OneHardwareThreadIsEnough) {
  SdkRig rig("marlow3,bramble6;scene=coded;step=on", 1);
  Ombrix small(0), large(1);
  TakenFrame a(small), b(large);
  for (std::uint64_t n = 1; n <= 6; ++n) {
    ASSERT_EQ(rig.platform->pump(0, 1), 1u);
    ASSERT_EQ(rig.platform->pump(1, 1), 1u);
    ASSERT_TRUE(a.takeColor(small, kTimeoutMs));
    ASSERT_TRUE(b.takeRaw(large, kTimeoutMs));
    EXPECT_EQ(a.md.frameNumber, n);
    EXPECT_EQ(b.md.frameNumber, n);
  }
}

// Both frames wait when the cycle begins: the thread that begins cycles takes the first, another one the
// second.
TEST(FrameDelivery, ACycleProcessesItsFramesTogetherAndWaitsForTheSlowest) {
  std::atomic<bool> quickReleased{false}, released{false};
  SdkRig rig("marlow3,marlow3;scene=coded;step=on;fpa=25");
  const Ombrix quick(0), slow(1);
  auto quickOutput = std::make_unique<SlowScreen>(quickReleased);
  auto output = std::make_unique<SlowScreen>(released);
  const SlowScreen &quickScreen = *quickOutput, &screen = *output;
  SdkRig::acquisition(0).viewerOutput = std::move(quickOutput);
  SdkRig::acquisition(1).viewerOutput = std::move(output);
  freeRunMode = false;
  for (const std::size_t device : {0u, 1u}) rig.platform->pump(device, 1);
  EXPECT_TRUE(
      waitFor([&] { return SdkRig::acquisition(0).hasImage() && SdkRig::acquisition(1).hasImage(); }));
  freeRunMode = true;
  EXPECT_TRUE(waitFor([&] { return quickScreen.showing > 0 && screen.showing > 0; }, 10s));
  quickReleased = true;
  rig.platform->pump(1, 1);
  EXPECT_FALSE(waitFor([&] { return screen.most > 1; }, 300ms));
  released = true;
  EXPECT_TRUE(waitFor([&] { return screen.shown > 1; }, 20s));
}

TEST(FrameDelivery, BadSamplesAreNoFrames) {
  for (const char* fault : {"short:2", "empty:2", "missing:2"}) {
    SdkRig rig("marlow3;scene=coded;step=on");
    Ombrix camera(0);
    switchCorrectionsOff(camera);
    TakenFrame frame(camera);
    ASSERT_EQ(rig.platform->pump(0, 2), 2u);
    ASSERT_TRUE(waitFor([&] { return frame.takeRaw(camera, 0) && frame.md.frameNumber == 2; })) << fault;
    ASSERT_EQ(rig.platform->camera(0).apply(fault), "");
    ASSERT_EQ(rig.platform->pump(0, 2), 2u);
    EXPECT_FALSE(frame.takeRaw(camera, 20)) << fault;
    ASSERT_EQ(rig.platform->pump(0, 1), 1u);
    ASSERT_TRUE(frame.takeRaw(camera, kTimeoutMs)) << fault;
    EXPECT_EQ(frame.md.frameNumber, 3u) << fault;
    expectCodedPicture(frame.levels, 320, 5);
  }
}

TEST(FrameDelivery, TemperatureReachesTheApplication) {
  SdkRig rig("bramble6,marlow3,hollis12;scene=coded;step=on;fpa=31.5");
  Ombrix camera(0), marlow(1), hollis(2);
  EXPECT_FLOAT_EQ(camera.getSensorTemperature(), -273.15f) << "before the first frame";
  const std::pair<Ombrix&, float> steps[] = {{camera, 0.011f}, {marlow, 0.028f}, {hollis, 0.023f}};
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_EQ(rig.platform->pump(i, 1), 1u);
    const auto& [shown, step] = steps[i];
    EXPECT_TRUE(waitFor([&, &shown = shown, step = step] {
      return std::abs(shown.getSensorTemperature() - 31.5f) < step;
    })) << i
        << ": " << shown.getSensorTemperature();
  }
  rig.sdk->parseCoreParameter("FFCValidationTemperature=30.5");
  rig.sdk->parseCoreParameter("FFCValidation");
  EXPECT_TRUE(waitFor([&] { return camera.getSensorTemperature() == 303.65f - 273.15f; }));
  Ombrix::metadata md;
  EXPECT_TRUE(camera.getRawFrame(nullptr, &md, kTimeoutMs));
  EXPECT_EQ(md.sensorTemperature, 303.65f);
}
