#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "acquisition/backends/v4l2/V4L2Platform.h"
#include "acquisition/transport/cameraCheck.h"
#include "support/LogCapture.h"
#include "support/scratchFiles.h"
#include "support/v4l2/FakeKernel.h"

using testing::HasSubstr;

namespace {

const std::string kUsb = "/sys/bus/usb/devices/";

/// A Bramble 6 on the bus, whether or not a driver has it.
void plugIn(FakeKernel& kernel) {
  kernel.files[kUsb + "1-1/idVendor"] = "5c2b\n";
  kernel.files[kUsb + "1-1/idProduct"] = "96eb\n";
  kernel.files[kUsb + "1-1:1.0/bInterfaceNumber"] = "00\n";
  kernel.files[kUsb + "1-10:1.0/video4linux/video7/name"] = "a camera at another port\n";
  kernel.files[kUsb + "usb1/idVendor"] = "1d6b\n";
  kernel.files[kUsb + "usb1/idProduct"] = "0002\n";
}

/// The same with driver and node.
FakeNode& bindDriver(FakeKernel& kernel) {
  plugIn(kernel);
  kernel.files["/sys/module/uvcvideo/version"] = "1.1.1\n";
  kernel.files[kUsb + "1-1:1.0/video4linux/video0/name"] = "Bramble 6\n";
  return kernel.addCamera(0);
}

void hold(FakeKernel& kernel, const std::string& process, const std::string& program) {
  kernel.links["/proc/" + process + "/fd/4"] = "/dev/video0";
  kernel.files["/proc/" + process + "/comm"] = program + "\n";
}

}  // namespace

TEST(V4L2Doctor, NamesWhatStandsInTheWay) {
  const struct {
    std::string code, text, remedy;
    std::function<void(FakeKernel&)> prepare;
    bool picture = false;
  } cases[] = {
      {"", "", "", [](FakeKernel& kernel) { bindDriver(kernel); }, true},
      {"no-device", "(1 other video devices)", "lsusb",
       [](FakeKernel& kernel) { kernel.addNode(3, "other"); }},
      {"no-module", "Bramble 6 at USB 1-1: the kernel's USB video driver is not loaded",
       "sudo modprobe uvcvideo", plugIn},
      {"no-driver", "has not taken the camera", "dmesg",
       [](FakeKernel& kernel) {
         plugIn(kernel);
         kernel.files["/sys/module/uvcvideo/version"] = "1\n";
       }},
      {"no-node", "there is no /dev/video0", "container",
       [](FakeKernel& kernel) {
         bindDriver(kernel);
         kernel.nodes.clear();
       }},
      {"no-permission", "/dev/video0: permission denied", "usermod -aG video",
       [](FakeKernel& kernel) {
         bindDriver(kernel);
         kernel.openErrors["/dev/video0"] = -EACCES;
       }},
      {"busy", "process 12 (viewer), process 7 (recorder)", "end that program",
       [](FakeKernel& kernel) {
         bindDriver(kernel);
         kernel.links["/proc/self"] = "99";
         hold(kernel, "12", "viewer");
         hold(kernel, "7", "recorder");
         hold(kernel, "99", "doctor");
         kernel.links["/proc/13/fd/0"] = "/dev/video01";
         kernel.errors["VIDIOC_S_FMT"] = {-EBUSY};
       }},
      {"busy", "Asking for first sample: in use by another program", "as root",
       [](FakeKernel& kernel) {
         bindDriver(kernel);
         kernel.errors["VIDIOC_REQBUFS"] = {-EBUSY};
       }},
      {"wrong-format", "none of the camera's 1 stream formats is 16-bit grey", "",
       [](FakeKernel& kernel) { bindDriver(kernel).fourccs = {V4L2_PIX_FMT_YUYV}; }},
      {"wrong-format", "/dev/video0: set media type: refused by the driver", "",
       [](FakeKernel& kernel) { bindDriver(kernel).made.pixelformat = V4L2_PIX_FMT_YUYV; }},
      {"failed", "Bramble 6 at USB 1-1: /dev/video0: Device enumeration: input or output error", "dmesg",
       [](FakeKernel& kernel) {
         bindDriver(kernel);
         kernel.alwaysErrors["VIDIOC_QUERYCAP"] = -EIO;
       }},
      {"failed", "Bramble 6 at USB 1-1: none of its video nodes delivers pictures", "dmesg",
       [](FakeKernel& kernel) { bindDriver(kernel).capabilities = V4L2_CAP_META_CAPTURE; }},
      {"no-extension-unit", "no control unit", "",
       [](FakeKernel& kernel) {
         bindDriver(kernel);
         kernel.files["/sys/class/video4linux/video0/device/../bConfigurationValue"] = "2\n";
       },
       true},
      {"no-bandwidth", "not enough bandwidth", "another USB controller",
       [](FakeKernel& kernel) {
         bindDriver(kernel);
         kernel.errors["VIDIOC_STREAMON"] = {-ENOSPC};
       }},
      {"gone", "Sample delivery: the camera is gone", "plug the camera in again",
       [](FakeKernel& kernel) {
         bindDriver(kernel);
         kernel.errors["VIDIOC_DQBUF"] = {-ENODEV};
       }},
      {"no-frames", "no frame came within 100 ms", "hub",
       [](FakeKernel& kernel) { bindDriver(kernel).bytesUsed = 99; }},
  };
  for (const auto& c : cases) {
    const LogCapture log;
    const auto kernel = std::make_shared<FakeKernel>();
    c.prepare(*kernel);
    kernel->produce(2);
    v4l2::V4L2Platform platform(kernel);
    const auto check = transport::checkCameras(platform, std::chrono::milliseconds(100));
    EXPECT_EQ(check.usable(), c.code.empty()) << c.code;
    std::vector<transport::Obstacle> all = check.obstacles;
    for (const auto& camera : check.cameras) {
      EXPECT_EQ(camera.model, "Bramble 6");
      EXPECT_EQ(camera.picture, c.picture) << c.code;
      all.insert(all.end(), camera.obstacles.begin(), camera.obstacles.end());
    }
    ASSERT_EQ(all.size(), c.code.empty() ? 0u : 1u) << c.code;
    if (!all.empty()) {
      EXPECT_EQ(all[0].code, c.code);
      EXPECT_THAT(all[0].text, HasSubstr(c.text));
      EXPECT_THAT(all[0].remedy, HasSubstr(c.remedy));
    }
    EXPECT_EQ(kernel->openDescriptors(), 0u) << c.code;
    EXPECT_EQ(kernel->mappings(), 0u) << c.code;
  }
}

TEST(UdevRule, LetsUsersAtEveryCamera) {
  const std::string rules = fileContents(OMBRIX_SOURCE_DIR "/data/udev/70-ombrix.rules");
  std::size_t lines = 0;
  for (const char* subsystem : {"usb", "video4linux"}) {
    for (const char* product : {"96ea", "96eb", "96ec"}) {
      std::size_t found = 0;
      for (std::size_t at = 0; at < rules.size(); at = rules.find('\n', at) + 1) {
        const std::string line = rules.substr(at, rules.find('\n', at) - at);
        if (line.find(std::string("SUBSYSTEM==\"") + subsystem + "\"") == std::string::npos) continue;
        if (line.find(std::string("idProduct}==\"") + product + "\"") == std::string::npos) continue;
        ++found;
        for (const char* part :
             {"idVendor}==\"5c2b\"", "MODE=\"0660\"", "GROUP=\"video\"", "TAG+=\"uaccess\""})
          EXPECT_THAT(line, HasSubstr(part));
      }
      EXPECT_EQ(found, 1u) << subsystem << ' ' << product;
      lines += found;
    }
  }
  EXPECT_EQ(lines, 6u);
}
