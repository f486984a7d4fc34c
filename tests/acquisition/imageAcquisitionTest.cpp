#include "acquisition/imageAcquisition.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

#include "acquisition/acquiringCount.h"
#include "acquisition/deviceTable.h"
#include "core/settings.h"
#include "support/LogCapture.h"
#include "support/waitFor.h"

namespace {

USBDeviceDesc described(std::uint32_t vid, std::uint32_t pid, const char* match = "") {
  USBDeviceDesc description;
  description.vid = vid;
  description.pid = pid;
  description.matchString = match;
  return description;
}

/// A bound camera whose ring is filled by hand; counts as streaming as long as it lives.
class RingCase : public ::testing::Test {
 protected:
  RingCase() {
    camera.setUSBDevice(described(0x5c2b, 0x96ea), 0, 0);
    camera.ring.allocate(4, 2);
    raw.allocate(4, 2);
    acquiringCount::add();
  }
  ~RingCase() override { acquiringCount::remove(); }

  /// What the transport does with a sample.
  void arrive(unsigned short level) {
    MutexLock lock(camera.ring.mutex);
    auto& slot = camera.ring.slots[static_cast<std::size_t>(camera.ring.writeIndex)];
    std::fill_n(slot.data, slot.pixelCount(), level);
    camera.ring.writeIndex = (camera.ring.writeIndex + 1) % FrameRing::kSlots;
    ++camera.ring.frameCounter;
    camera.ring.frameReady = true;
    camera.ring.condition.notify_all();
  }

  imageAcquisition camera{"data", true};
  image<unsigned short>& raw = camera.processing.rawImage;
  image<unsigned short> out{4, 2};
};

}  // namespace

TEST(DeviceBinding, MatchesIdsAndMatchStringExactly) {
  const LogCapture log;
  const struct {
    USBDeviceDesc given;
    bool found;
    const char* model;
    const char* sensor;
    int width, height;
    float rate;
    int dataType, linkType;
  } cases[] = {
      {described(0x5c2b, 0x96eb), true, "Bramble 6", "Velt640D", 640, 480, 60.0f, 1, 5},
      {described(0x5c2b, 0x96ea), true, "Marlow 3", "Quor320", 320, 240, 60.0f, 1, 5},
      {described(0x5c2b, 0x96ec), true, "Hollis 12", "Velt1280", 1280, 1024, 30.0f, 1, 5},
      {described(0x0483, 0x5740, "Velt Core"), true, "Velt Core", "Velt320", 320, 240, 60.0f, 1, 2},
      {described(0x16d0, 0x0ed4), true, "R2 BOARD FFC M12", "IMX290", 1920, 1080, 30.0f, 11, 5},
      {described(0x16d0, 0x0ed2), true, "R1 MICRO M12", "AR0330", 1920, 1080, 30.0f, 11, 5},
      {described(0x0483, 0x5740), false, "", "", 0, 0, 0.0f, 0, 0},
      {described(0x0483, 0x5740, "velt core"), false, "", "", 0, 0, 0.0f, 0, 0},
      {USBDeviceDesc{}, false, "", "", 0, 0, 0.0f, 0, 0},
  };
  for (const auto& c : cases) {
    imageAcquisition camera("calib", true);
    EXPECT_EQ(camera.setUSBDevice(c.given, 0, 3), c.found) << c.model;
    EXPECT_EQ(camera.device.modelName, c.model);
    EXPECT_EQ(camera.device.sensor, c.sensor);
    EXPECT_EQ(camera.device.width, c.width);
    EXPECT_EQ(camera.device.height, c.height);
    EXPECT_EQ(camera.device.frameRate, c.rate);
    EXPECT_EQ(camera.device.dataType, c.dataType);
    EXPECT_EQ(camera.device.linkType, c.linkType);
    EXPECT_EQ(camera.name(), c.found ? c.model : "calib");
    EXPECT_EQ(camera.deviceNumber(), c.found ? 3 : -1);
  }
  EXPECT_TRUE(log.contains("device 0x0483:0x5740 (velt core) not found!"));
  EXPECT_TRUE(log.contains("device 0x0000:0x0000 () not found!"));
}

TEST(DeviceBinding, ProxySubstitutesTheSensorBehindTheLargeModel) {
  const LogCapture log;
  const std::array<USBDeviceDesc, 1> rows{USBDeviceDesc{
      0x5c2b, 0x96ed, "/dev/bus/usb", "", "", {}, "USB3-Q7", "Velt1280", 30.0f, 1280, 1024, 1, 5, true}};
  setDeviceTableForTesting(rows);
  settings::create(0, nullptr);
  imageAcquisition plain("data", true);
  EXPECT_TRUE(plain.setUSBDevice(described(0x5c2b, 0x96ed), 0, 0));
  EXPECT_EQ(plain.device.width, 1280);
  settings::inst()->parseParam("proxy=T612");
  imageAcquisition substituted("data", true);
  EXPECT_TRUE(substituted.setUSBDevice(described(0x5c2b, 0x96ed), 0, 0));
  EXPECT_EQ(substituted.device.sensor, "Velt640D");
  EXPECT_EQ(substituted.device.width, 640);
  EXPECT_EQ(substituted.device.height, 480);
  EXPECT_EQ(substituted.device.modelName, "USB3-Q7");
  settings::release();
  setDeviceTableForTesting({});
}

TEST(SensorTemperature, IsSmoothedAndDifferentiated) {
  TemperatureFilter filter;
  filter.update(300.0f, 0.0f);
  EXPECT_EQ(filter.filteredK, 300.0f) << "the first value stands for itself";
  EXPECT_EQ(filter.rateKPerS, 0.0f);
  filter.update(302.0f, 100.0f);  // 0.15 * 302 + 0.85 * 300; 0.3 K in 0.1 s, of which 0.005 count
  EXPECT_NEAR(filter.filteredK, 300.3f, 1e-4f);
  EXPECT_NEAR(filter.rateKPerS, 0.015f, 1e-4f);
  filter.update(302.0f, 0.0f);  // no time passed: the rate stays
  EXPECT_NEAR(filter.filteredK, 300.555f, 1e-4f);
  EXPECT_NEAR(filter.rateKPerS, 0.015f, 1e-4f);
  filter.update(302.0f, 50.0f);  // + 0.21675 K in 0.05 s: 0.005 * 4.335 + 0.995 * 0.015
  EXPECT_NEAR(filter.rateKPerS, 0.0366f, 2e-4f);
}

TEST_F(RingCase, EveryFourthDeliveryIsOneSlotOld) {
  // Samples 1, 2, 3 ... fill slots 0, 1, 2, 3, 0 ...; index 1 and index 0 both read slot 3.
  const int expected[] = {0, 2, 3, 4, 4, 6, 7, 8, 8};
  for (int i = 0; i < 9; ++i) {
    arrive(static_cast<unsigned short>(i + 1));
    ASSERT_TRUE(camera.takeImage());
    EXPECT_EQ(raw.data[7], expected[i]) << "delivery " << i + 1;
    raw.data[7] = 99;  // the pipeline works in it
    EXPECT_EQ(camera.delivered.number, static_cast<std::uint64_t>(i + 1));
    EXPECT_EQ(camera.delivered.fromFilledSlot, i > 0);
  }
}

TEST_F(RingCase, AWaitingCallerGetsCopies) {
  const int expected[] = {0, 2, 3, 4, 4};
  for (int i = 0; i < 5; ++i) {
    arrive(static_cast<unsigned short>(i + 1));
    ASSERT_TRUE(camera.getImage(out, 0));
    EXPECT_EQ(out.data[7], expected[i]) << "delivery " << i + 1;
    out.data[7] = 99;
  }
}

TEST_F(RingCase, AWakeUpWithoutANewFrameBringsNoStalePixels) {
  arrive(1);
  arrive(2);
  ASSERT_TRUE(camera.takeImage());
  EXPECT_EQ(raw.data[0], 2);
  camera.broadcast();
  EXPECT_FALSE(camera.takeImage());
  EXPECT_EQ(raw.data[0], 2);
  EXPECT_FALSE(camera.hasImage());
}

TEST_F(RingCase, AFrameIsDeliveredOnce) {
  EXPECT_FALSE(camera.takeImage());
  arrive(5);
  EXPECT_TRUE(camera.hasImage());
  EXPECT_TRUE(camera.takeImage());
  EXPECT_FALSE(camera.hasImage());
  EXPECT_FALSE(camera.takeImage());
}

TEST_F(RingCase, PairedDeliveryWaitsForTemperatureOrTrigger) {
  camera.setPairing(true);
  arrive(1);
  EXPECT_FALSE(camera.takeImage());
  camera.requestTrigger();
  EXPECT_TRUE(camera.takeImage());
  arrive(2);
  EXPECT_FALSE(camera.takeImage()) << "a trigger lets one frame through";
  camera.broadcast();
  EXPECT_TRUE(camera.takeImage());
  camera.requestTrigger();
  EXPECT_FALSE(camera.takeImage()) << "a trigger alone is no frame";
  arrive(3);
  EXPECT_TRUE(camera.takeImage());
  arrive(4);
  EXPECT_FALSE(camera.takeImage()) << "so does a temperature";
}

TEST_F(RingCase, UnboundedWaitLeavesWhenTheCameraStops) {
  std::atomic<int> answer{-1};
  out.data[0] = 9;
  std::thread waiter([&] { answer = camera.getImage(out, 0); });
  EXPECT_FALSE(waitFor([&] { return answer != -1; }, std::chrono::milliseconds(20))) << "there is no frame";
  camera.requestStop();
  waiter.join();
  EXPECT_EQ(answer, 0);
  EXPECT_EQ(out.data[0], 0);
  arrive(7);  // too late
  EXPECT_FALSE(camera.hasImage());
  EXPECT_FALSE(camera.takeImage());
  out.data[0] = 9;
  EXPECT_FALSE(camera.getImage(out, 0));
  EXPECT_EQ(out.data[0], 0);
}

TEST_F(RingCase, WithoutARingNothingIsCopied) {
  const LogCapture log;
  camera.ring.release();
  out.data[0] = 9;
  EXPECT_TRUE(camera.getImage(out, 0));
  EXPECT_EQ(out.data[0], 9);
  EXPECT_FALSE(camera.takeImage());
  EXPECT_EQ(log.lines().size(), 0u) << log.text();
}

TEST_F(RingCase, AnImageOfAnotherSizeIsNotFilled) {
  const LogCapture log;
  raw.allocate(2, 2);
  arrive(1);
  EXPECT_TRUE(camera.takeImage());
  EXPECT_TRUE(log.contains("Input and output images mismatch"));
}
