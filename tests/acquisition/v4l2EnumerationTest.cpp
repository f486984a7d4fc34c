#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "acquisition/backends/v4l2/V4L2Platform.h"
#include "acquisition/backends/v4l2/usbDescriptors.h"
#include "acquisition/transport/extensionUnit.h"
#include "support/LogCapture.h"
#include "support/v4l2/FakeKernel.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::size_t kConfiguration = 18;  // where things stand in cameraDescriptors()
constexpr std::size_t kControlInterface = 35;
constexpr std::size_t kUnit = 57;

using Bytes = std::vector<std::uint8_t>;

Bytes with(std::size_t at, std::uint8_t value) {
  Bytes bytes = cameraDescriptors();
  bytes.at(at) = value;
  return bytes;
}

Bytes cut(std::size_t size) {
  Bytes bytes = cameraDescriptors();
  bytes.resize(size);
  return bytes;
}

class Nobody : public transport::SampleReceiver {
 public:
  void onSample(std::int32_t, std::int64_t, const transport::Sample*) override {}
};

}  // namespace

TEST(V4L2Descriptors, UnitIsFoundWhereItMayStand) {
  const struct {
    const char* what;
    Bytes bytes;
    std::size_t units;
  } cases[] = {
      {"as the camera has it", cameraDescriptors(), 1},
      {"nothing", {}, 0},
      {"one byte", {9}, 0},
      {"cut right after the GUID's descriptor", cut(kUnit + 28), 1},
      {"cut inside the unit", cut(kUnit + 27), 0},
      {"a length of 0 ends", with(kControlInterface, 0), 0},
      {"a length of 1 ends", with(kControlInterface, 1), 0},
      {"a unit beyond the end", with(kUnit, 255), 0},
      {"a unit too short for its GUID", with(kUnit, 19), 0},
      {"another subtype", with(kUnit + 2, 5), 0},
      {"another type", with(kUnit + 1, 0x25), 0},
      {"unit id 0", with(kUnit + 3, 0), 0},
      {"not a video interface", with(kControlInterface + 5, 0x0F), 0},
      {"a streaming interface", with(kControlInterface + 6, 2), 0},
  };
  for (const auto& c : cases) EXPECT_EQ(v4l2::extensionUnits(c.bytes).size(), c.units) << c.what;

  Bytes second = with(kConfiguration + 5, 7);  // a second configuration
  second[kUnit + 3] = 9;
  second[kControlInterface + 2] = 4;
  second.erase(second.begin(), second.begin() + kConfiguration);
  Bytes both = cameraDescriptors();
  both.insert(both.end(), second.begin(), second.end());
  const auto units = v4l2::extensionUnits(both);
  ASSERT_EQ(units.size(), 2u);
  EXPECT_EQ(units[0].unitId, 2);
  EXPECT_EQ(units[0].configuration, 1);
  EXPECT_EQ(units[1].unitId, 9);
  EXPECT_EQ(units[1].configuration, 7);
  EXPECT_EQ(units[1].interfaceNumber, 4);
  EXPECT_EQ(units[1].guid, transport::kCameraUnit);
}

TEST(V4L2Descriptors, AnyBytesAreSurvived) {
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    Bytes bytes = round % 2 ? cameraDescriptors() : Bytes(random() % 64);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      if (round % 2 == 0 || random() % 20 == 0) bytes[i] = static_cast<std::uint8_t>(random() % 40);
    }
    bytes.shrink_to_fit();  // the sanitizer sees a read beyond the end
    EXPECT_LE(v4l2::extensionUnits(bytes).size(), bytes.size() / 20);
  }
}

TEST(V4L2Enumeration, ListsCaptureNodesInNumericOrder) {
  const auto kernel = std::make_shared<FakeKernel>();
  kernel->addCamera(10, 0x96ea);
  kernel->addCamera(2, 0x96eb);
  kernel->addCamera(3, 0x96eb).capabilities = V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING;
  kernel->addNode(4, "vivid");  // no USB device
  kernel->addCamera(5, 0x96ec);
  kernel->openErrors["/dev/video5"] = -EACCES;
  kernel->addCamera(6, 0x96ec);
  kernel->openErrors["/dev/video6"] = -EACCES;
  kernel->files["/sys/class/video4linux/video6/index"] = "1\n";
  kernel->addCamera(7);
  kernel->openErrors["/dev/video7"] = -ENOENT;
  kernel->addNode(8, "reads only").capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_READWRITE;
  kernel->addCamera(9);
  kernel->files["/sys/class/video4linux/video9/device/../idVendor"] = "5g2b\n";
  for (const char* other : {"videoX", "video", "v4l-subdev0", "video99999999", "radio0"})
    kernel->files[std::string("/sys/class/video4linux/") + other + "/name"] = "other";

  v4l2::V4L2Platform platform(kernel);
  std::vector<transport::DeviceRecord> devices;
  EXPECT_EQ(platform.enumerate(devices).status, 0);
  std::vector<std::string> paths;
  for (const auto& device : devices) paths.push_back(device.path);
  EXPECT_THAT(paths,
              ElementsAre("/dev/video2 vid_5c2b&pid_96eb", "/dev/video4", "/dev/video5 vid_5c2b&pid_96ec",
                          "/dev/video9", "/dev/video10 vid_5c2b&pid_96ea"));
  EXPECT_EQ(devices.at(1).friendlyName, "vivid");
  EXPECT_EQ(kernel->openDescriptors(), 0u);
}

TEST(V4L2Enumeration, OneBadNodeHarmsNobody) {
  LogCapture log;
  const auto kernel = std::make_shared<FakeKernel>();
  v4l2::V4L2Platform platform(kernel);
  std::vector<transport::DeviceRecord> devices{{"left over", ""}};
  EXPECT_EQ(platform.enumerate(devices).status, 0);  // no video at all
  EXPECT_TRUE(devices.empty());
  EXPECT_TRUE(log.contains("No video capture device found"));

  kernel->addCamera(0);
  kernel->addCamera(1);
  kernel->errors["VIDIOC_QUERYCAP"] = {-EINTR, -EIO, -EINTR, -EINTR};
  EXPECT_EQ(platform.enumerate(devices).status, 0);
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_THAT(devices[0].path, HasSubstr("/dev/video1 "));
  EXPECT_EQ(kernel->openDescriptors(), 0u);
}

TEST(V4L2Enumeration, OpeningSaysWhatStandsInTheWay) {
  const struct {
    int error;
    std::int32_t status;
    const char* text;
  } cases[] = {
      {-EACCES, -EACCES,
       "/dev/video0: permission denied (owner root, group video, mode 0660; install the udev rule"},
      {-EPERM, -EPERM, "permission denied (owner root"},
      {-EBUSY, -EBUSY, "/dev/video0: in use by another program"},
      {-ENODEV, -ENODEV, "/dev/video0: the camera is gone"},
      {-ENXIO, -ENODEV, "the camera is gone"},
      {-ENOENT, -ENOENT, "there is no such device node"},
      {-EMFILE, -EMFILE, "too many open files"},
      {-ELOOP, -ELOOP, "error 40"},
  };
  for (const auto& c : cases) {
    LogCapture log;
    const auto kernel = std::make_shared<FakeKernel>();
    kernel->addCamera(0);
    v4l2::V4L2Platform platform(kernel);
    std::vector<transport::DeviceRecord> devices;
    platform.enumerate(devices);
    kernel->openErrors["/dev/video0"] = c.error;
    Nobody nobody;
    std::unique_ptr<transport::VideoDevice> device;
    EXPECT_EQ(platform.open(0, nobody, device).status, c.status);
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(log.contains(c.text)) << c.text << log.text();
    EXPECT_EQ(platform.open(1, nobody, device).status, -EINVAL);
  }
}
