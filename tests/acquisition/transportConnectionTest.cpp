#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "acquisition/transport/UVCConnection.h"
#include "acquisition/transport/deviceList.h"
#include "acquisition/transport/extensionUnit.h"
#include "platform/system.h"
#include "support/LogCapture.h"
#include "support/ScriptedPlatform.h"
#include "support/golden.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace step = transport::step;

namespace {

/// A scripted platform in place of the machine's, and the log of what happens on it.
struct Bench {
  explicit Bench(logger::verbosityLevel level = logger::verbosityInfo) : log(level) {
    transport::installVideoPlatform(platform);
  }
  ~Bench() {
    UVCConnection::shutdown();
    transport::installVideoPlatform(nullptr);
  }
  bool connect(UVCConnection& connection, int index = 0) {
    return connection.connectUVC(0x5c2b, 0x96eb, index, dataTypeThermal);
  }

  LogCapture log;
  std::shared_ptr<ScriptedPlatform> platform = std::make_shared<ScriptedPlatform>();
};

}  // namespace

TEST(DevicePaths, FirstKnownSubstringDecides) {
  const struct {
    const char *path, *model, *sensor;
    std::uint32_t pid;
    bool flag;
  } cases[] = {
      {"\\\\?\\usb#vid_5c2b&pid_96ea#7", "Marlow 3", "Quor320", 0x96ea, false},
      {"/dev/video0 vid_5c2b&pid_96eb", "Bramble 6", "Velt640D", 0x96eb, true},
      {"vid_5c2b&pid_96ec", "Hollis 12", "Velt1280", 0x96ec, true},
      {"vid_5c2b&pid_96eb vid_5c2b&pid_96ea", "Marlow 3", "Quor320", 0x96ea, false},
      {"vid_5c2b&pid_96ec vid_5c2b&pid_96eb", "Bramble 6", "Velt640D", 0x96eb, true},
      {"VID_5C2B&PID_96EB, in capitals", "", "", 0, false},
      {"vid_5c2b&pid_96e", "", "", 0, false},
      {"", "", "", 0, false},
  };
  for (const auto& c : cases) {
    const USBDeviceDesc found = transport::describePath(c.path);
    EXPECT_EQ(found.modelName, c.model) << c.path;
    EXPECT_EQ(found.sensor, c.sensor);
    EXPECT_EQ(found.pid, c.pid);
    EXPECT_EQ(found.tableFlag, c.flag);
    EXPECT_EQ(transport::modelNameOfPath(c.path), *c.model ? c.model : "Unknown");
  }
  USBDeviceDesc expected{0x5c2b,     0x96ec, "/dev/bus/usb", "",   "", {}, "Hollis 12",
                         "Velt1280", 30.0f,  1280,           1024, 1,  5,  true};
  EXPECT_EQ(transport::describePath("vid_5c2b&pid_96ec"), expected);
  EXPECT_EQ(transport::describePath("nothing"), USBDeviceDesc());
}

TEST(Enumeration, ListsAndLogsWhatItFinds) {
  Bench bench;
  bench.platform->cameras = {
      std::make_shared<ScriptedCamera>("Bramble 6: Bramble 6", "/dev/video0 vid_5c2b&pid_96eb",
                                       std::vector<transport::StreamType>{}),
      std::make_shared<ScriptedCamera>("Integrated Webcam", "/dev/video2 vid_04f2&pid_b6d9",
                                       std::vector<transport::StreamType>{}),
      std::make_shared<ScriptedCamera>("both ids", "vid_5c2b&pid_96eb vid_5c2b&pid_96ea",
                                       std::vector<transport::StreamType>{}),
      ScriptedCamera::hollis12(),
      std::make_shared<ScriptedCamera>("short path", "vid_5c2b&pid_96e",
                                       std::vector<transport::StreamType>{})};
  ASSERT_TRUE(UVCConnection::init());
  EXPECT_THAT(bench.log.lines(), testing::ElementsAreArray(goldenLines("enumeration.txt")));
  EXPECT_EQ(UVCConnection::deviceCount(), 3);
  EXPECT_EQ(UVCConnection::deviceName(2), "Hollis");
  EXPECT_EQ(UVCConnection::describeDevice(2).width, 1280);
  for (const int bad : {-1, 3, 1000}) {
    EXPECT_EQ(UVCConnection::deviceName(bad), "Invalid index");
    EXPECT_EQ(UVCConnection::describeDevice(bad), USBDeviceDesc());
  }

  bench.platform->cameras = {ScriptedCamera::marlow3()};
  bench.platform->cameras[0]->record.friendlyName = std::string(259, 'n') + "é tail";
  ASSERT_TRUE(UVCConnection::init());  // gives the earlier start back
  EXPECT_EQ(bench.platform->startCount(), 1);
  EXPECT_EQ(UVCConnection::deviceCount(), 1);
  EXPECT_EQ(UVCConnection::deviceName(0), std::string(259, 'n'));
  UVCConnection::shutdown();
  UVCConnection::shutdown();
  EXPECT_EQ(bench.platform->startCount(), 0);
}

TEST(Connecting, HoldsAStartOfItsOwn) {
  Bench bench;
  bench.platform->cameras = {ScriptedCamera::bramble6()};
  ASSERT_TRUE(UVCConnection::init());
  const std::size_t openedBefore = transport::DeviceList::instance().opened().size();
  UVCConnection connection("camera", uvcBackendDefault);
  EXPECT_TRUE(bench.connect(connection));
  EXPECT_EQ(bench.platform->startCount(), 2);
  EXPECT_EQ(transport::DeviceList::instance().opened().size(), openedBefore + 1);
  UVCConnection::shutdown();
  EXPECT_EQ(bench.platform->startCount(), 1);
  bench.platform->refuseStart = true;
  bench.log.clear();
  EXPECT_FALSE(bench.connect(connection));
  EXPECT_THAT(bench.log.lines(), ElementsAre(" ● InitializeDevice failed..."));
  EXPECT_EQ(bench.platform->startCount(), 0);
  EXPECT_FALSE(UVCConnection::init());
}

TEST(Connecting, ABadIndexDoesNotTouchThePlatform) {
  Bench bench;
  bench.platform->cameras = {ScriptedCamera::bramble6()};
  ASSERT_TRUE(UVCConnection::init());
  const std::size_t steps = bench.platform->steps().size();
  UVCConnection connection("camera", uvcBackendDefault);
  for (const int bad : {-1, 1, 2, 1000}) EXPECT_FALSE(bench.connect(connection, bad));
  EXPECT_FALSE(connection.connectUVC(std::string("Ombrix"), 0, 0));
  EXPECT_TRUE(bench.log.contains("Stub"));
  EXPECT_FALSE(connection.startStreaming(nullptr, 640, 480, 0));
  EXPECT_TRUE(connection.stopStreaming());
  EXPECT_EQ(bench.platform->steps().size(), steps);
}

TEST(Connecting, TheStreamTypeIsTheFirstY16) {
  constexpr std::uint32_t kY16 = 0x20363159, kYUY2 = 0x32595559;
  const struct {
    std::vector<transport::StreamType> types;
    bool connects;
    int width, height;
  } cases[] = {
      {{{kY16, 640, 480}}, true, 640, 480},
      {{{kYUY2, 1920, 1080}, {kY16, 1288, 1024}, {kYUY2, 160, 120}}, true, 1288, 1024},
      {{{kY16, 640, 480}, {kY16, 640, 480}}, true, 640, 480},
      {{{kY16, 640, 480}, {kY16, 320, 512}}, true, 320, 480},  // last width, smallest height: on purpose
      {{{kYUY2, 640, 480}}, false, 0, -1},
      {{}, false, 0, -1},
  };
  for (const auto& c : cases) {
    Bench bench;
    bench.platform->cameras = {ScriptedCamera::bramble6()};
    bench.platform->cameras[0]->types = c.types;
    ASSERT_TRUE(UVCConnection::init());
    UVCConnection connection("camera", uvcBackendDefault);
    EXPECT_EQ(bench.connect(connection), c.connects);
    EXPECT_EQ(connection.streamWidth(), c.width);
    EXPECT_EQ(connection.streamHeight(), c.height);
    EXPECT_EQ(bench.log.contains("InitializeMediaTypes failed..."), !c.connects);
  }
}

TEST(ExtensionUnit, SelectorEncodesTheSize) {
  const std::pair<std::size_t, std::uint32_t> cases[] = {{0, 0},  {1, 1},  {2, 2},  {3, 3},     {4, 3},
                                                         {11, 4}, {12, 5}, {16, 5}, {32768, 16}};
  for (const auto& [size, selector] : cases) EXPECT_EQ(transport::selectorForSize(size), selector) << size;
}

TEST(ExtensionUnit, TransfersReachItsNodeOrThrow) {
  Bench bench;
  bench.platform->cameras = {ScriptedCamera::bramble6(), ScriptedCamera::bramble6()};
  bench.platform->cameras[1]->unitNode = 1;  // not a device-specific node, so never probed
  ASSERT_TRUE(UVCConnection::init());
  UVCConnection connection("camera", uvcBackendDefault);
  ASSERT_TRUE(bench.connect(connection));
  EXPECT_EQ(connection.registers().sendCommand("R12 0040 0A7F", "GAIN_IMAGE"), 0x0A7F);
  ASSERT_EQ(bench.platform->cameras[0]->transfers().size(), 2u);
  EXPECT_EQ(bench.platform->cameras[0]->transfers()[1].selector, 5u);

  std::array<std::uint8_t, 16> block{};
  bench.platform->failOnce(step::kTransfer, transport::kStatusDeviceLost);
  EXPECT_FALSE(connection.registers().writeCoreConfiguration(0));
  EXPECT_TRUE(connection.isLost());

  UVCConnection without("camera", uvcBackendDefault);
  EXPECT_TRUE(bench.connect(without, 1));
  try {
    without.transferUnit(5, transport::kTransferGet, block);
    FAIL();
  } catch (const transport::TransportError& error) {
    EXPECT_STREQ(error.what(), "Unknown extension unit");
  }
  EXPECT_FALSE(without.registers().writeCoreConfiguration(0));
}

TEST(PlatformChoice, FollowsTheEnvironment) {
  LogCapture log(logger::verbosityInfo);
  const auto before = platform::environmentVariable("OMBRIX_BACKEND");
  platform::setEnvironmentVariable("OMBRIX_BACKEND", "sundial");
  transport::installVideoPlatform(nullptr);
  EXPECT_FALSE(UVCConnection::init());
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_THAT(log.lines()[0], HasSubstr("OMBRIX_BACKEND: video backend 'sundial' is not built in"));
  EXPECT_EQ(UVCConnection::deviceCount(), 0);

  platform::setEnvironmentVariable("OMBRIX_BACKEND", std::nullopt);
  transport::installVideoPlatform(nullptr);
  EXPECT_TRUE(UVCConnection::init());
  EXPECT_TRUE(UVCConnection::init());
  EXPECT_EQ(log.count("No video backend for real cameras is built in"), 0u);
  EXPECT_EQ(log.count("Video devices detected:"), 2u);
  UVCConnection::shutdown();
  platform::setEnvironmentVariable("OMBRIX_BACKEND", before);
  transport::installVideoPlatform(nullptr);
}
