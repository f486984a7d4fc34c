#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "support/simulatedFrames.h"

using simulation::SimulatedCamera;

namespace {

std::int32_t send(SimulatedCamera& camera, const std::string& command) {
  std::vector<std::uint8_t> bytes(16, 0);
  std::copy(command.begin(), command.end(), bytes.begin());
  return camera.controlSet(5, bytes);
}

std::string reply(SimulatedCamera& camera) {
  std::vector<std::uint8_t> bytes(16, 0xEE);
  EXPECT_EQ(camera.controlGet(5, bytes), 0);
  return {bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)};
}

std::string ask(SimulatedCamera& camera, const std::string& command) {
  EXPECT_EQ(send(camera, command), 0);
  return reply(camera);
}

std::vector<std::uint8_t> readFlash(SimulatedCamera& camera, const std::string& boot, const std::string& high,
                                    const std::string& low, const std::string& size, std::uint32_t selector) {
  for (const auto& command : {"W01 0302 " + boot, "W01 0303 " + high, "W01 0304 " + low, "W01 0305 " + size,
                              std::string("W01 0301 0000")}) {
    EXPECT_EQ(ask(camera, command), command);
  }
  std::vector<std::uint8_t> bytes(std::size_t{1} << (selector - 1), 0xEE);
  EXPECT_EQ(camera.controlGet(selector, bytes), 0);
  return bytes;
}

}  // namespace

TEST(SimulatedProtocol, HollisReferenceColumns) {
  for (const std::size_t width : {1288u, 1280u, 1296u}) {
    SimulatedCamera camera(specOf("hollis12;fpa=25;scene=coded" +
                                  (width == 1288 ? std::string() : ";types=" + std::to_string(width))));
    transport::StreamType type;
    ASSERT_EQ(camera.selectType(0, type), 0);
    ASSERT_EQ(type.width, width);
    const auto bytes = nextBytes(camera);
    ASSERT_EQ(bytes.size(), width * 1024 * 2);
    for (const std::size_t y : {0u, 1u, 1023u}) {
      for (const std::size_t x : {std::size_t{0}, std::size_t{1}, width - 2, width - 1}) {
        EXPECT_EQ(bytes[2 * (y * width + x)], 0xC7) << x;  // 12767 at 25 degrees
        EXPECT_EQ(bytes[2 * (y * width + x) + 1], 0x7C) << x;
      }
    }
    // The picture starts behind four columns: 7 x + 131 y, frame 0.
    EXPECT_EQ(countAt(bytes, width + 4), 131);
    EXPECT_EQ(countAt(bytes, 2 * width + 4 + 10), 2 * 131 + 70);
  }
}

TEST(SimulatedProtocol, OddStreamSizesCarryThePictureAtItsPlace) {
  for (const char* types : {"640x512", "648x480"}) {
    SimulatedCamera camera(
        specOf(std::string("bramble6;fpa=25;scene=uniform;pattern=0;defects=off;types=") + types));
    transport::StreamType type;
    ASSERT_EQ(camera.selectType(0, type), 0);
    const auto bytes = nextBytes(camera);
    ASSERT_EQ(bytes.size(), std::size_t{type.width} * type.height * 2);
    EXPECT_NEAR(countAt(bytes, 479u * type.width + 639), 5000, 40) << types;
    EXPECT_EQ(bytes[bytes.size() - 2], 0x36) << types;
    EXPECT_EQ(bytes[bytes.size() - 1], 0x8F) << types;
  }
}

TEST(SimulatedProtocol, RegistersKeepWhatIsWritten) {
  SimulatedCamera camera(specOf("bramble6"));
  EXPECT_EQ(ask(camera, "W12 0040 01AF"), "W12 0040 01AF");
  EXPECT_EQ(ask(camera, "R12 0040 0000"), "R12 0040 01AF");
  EXPECT_EQ(ask(camera, "R13 0040 0000"), "R13 0040 0000");  // the same address in another group
  for (const char* malformed : {"", "X12 0040 0000", "R12-0040 0000", "R12 00G0 0000", "R12 0040 000",
                                "r12 0040 0000", "R12 0040 00000"}) {
    EXPECT_EQ(ask(camera, malformed), "") << malformed;
  }
}

TEST(SimulatedProtocol, AClosedShutterShowsTheHousing) {
  // Closed, the detector sees the housing: 4 K above 25 degrees, 45 * 4 K * 1.02 over the level of 25
  // degrees.
  SimulatedCamera camera(
      specOf("marlow3;scene=uniform;temperature=90;fpa=25;housing=4;pattern=0;defects=off"));
  camera.moveShutter(true);
  Spread level;
  for (const double value : meanFrame(camera, 2)) level.add(value);
  EXPECT_NEAR(level.mean(), 4800 + 40 * 4.08 + 24 / 3.0, 3.0);  // the shade's mean is a third of the corner's
}

TEST(SimulatedProtocol, FlashIsReadOnceAfterItsReply) {
  SimulatedCamera camera(specOf("bramble6"));
  const auto serial = readFlash(camera, "0000", "0004", "0020", "0010", 5);
  EXPECT_EQ(std::string(serial.begin(), serial.begin() + 9), "466001359");
  EXPECT_EQ(serial[9], 0);
  EXPECT_EQ(serial[10], 0xFF);
  EXPECT_EQ(reply(camera), "W01 0301 0000");  // the flash bytes are gone, the last reply is back
  const auto rate = readFlash(camera, "0000", "0004", "0038", "0002", 2);
  EXPECT_EQ(rate, (std::vector<std::uint8_t>{60, 0}));
  const auto shortPayload = readFlash(camera, "0000", "0004", "0038", "0001", 2);
  EXPECT_EQ(shortPayload, (std::vector<std::uint8_t>{60, 0xFF}));
  const auto boot = readFlash(camera, "0001", "0004", "0020", "0010", 5);
  EXPECT_EQ(boot, std::vector<std::uint8_t>(16, 0xFF));
  // The map of defective pixels is the detector's.
  const auto defect = camera.defects().front().pixel;
  char high[5], low[5];
  std::snprintf(high, sizeof high, "%04X", (0x10000 + defect) >> 16);
  std::snprintf(low, sizeof low, "%04X", (0x10000 + defect) & 0xFFFF);
  EXPECT_EQ(readFlash(camera, "0000", high, low, "0002", 2)[0], 1);
}

TEST(SimulatedProtocol, FlashVariants) {
  SimulatedCamera erased(specOf("bramble6;flash=erased"));
  EXPECT_EQ(readFlash(erased, "0000", "0004", "0000", "0020", 6), std::vector<std::uint8_t>(32, 0xFF));
  SimulatedCamera unterminated(specOf("bramble6;flash=unterminated"));
  const auto part = readFlash(unterminated, "0000", "0004", "0000", "0020", 6);
  EXPECT_EQ(std::count(part.begin(), part.end(), 0), 0);
  EXPECT_EQ(std::count(part.begin(), part.end(), 0xFF), 0);
}

TEST(SimulatedProtocol, TransfersAreCheckedAndLogged) {
  SimulatedCamera camera(specOf("marlow3"));
  std::vector<std::uint8_t> bytes(17, 0);
  const std::span<std::uint8_t> buffer(bytes);
  EXPECT_EQ(camera.controlSet(5, buffer), -ENOBUFS);
  EXPECT_EQ(camera.controlGet(5, buffer.first(15)), -ENOBUFS);
  EXPECT_EQ(camera.controlGet(0, buffer), -ENOENT);
  EXPECT_EQ(camera.controlGet(17, buffer), -ENOENT);
  EXPECT_EQ(camera.controlSet(4, buffer.first(8)), -EPERM);
  EXPECT_EQ(camera.controlGet(4, buffer.first(8)), -EPIPE);
  EXPECT_EQ(ask(camera, "R13 060C 0000"), "R13 060C 01A4");
  const auto log = camera.transfers();
  ASSERT_EQ(log.size(), 8u);
  EXPECT_TRUE(log[6].set);
  EXPECT_EQ(log[6].text, "R13 060C 0000");
  EXPECT_EQ(log[7].text, "R13 060C 01A4");
  EXPECT_EQ(log[7].thread, std::this_thread::get_id());
  EXPECT_GE(log[7].steadyNs, log[6].steadyNs);
}

TEST(SimulatedProtocol, RegisterFaults) {
  SimulatedCamera camera(specOf("marlow3"));
  ask(camera, "R13 0003 0000");
  camera.apply("stale-reply");
  EXPECT_EQ(ask(camera, "R13 060C 0000"), "R13 0003 1234");
  camera.apply("empty-reply");
  EXPECT_EQ(ask(camera, "R13 060C 0000"), "");
  camera.apply("lower-case-reply");
  EXPECT_EQ(ask(camera, "R13 060C 0000"), "r13 060c 01a4");
  camera.apply("garbage-reply");
  EXPECT_FALSE(std::isxdigit(static_cast<unsigned char>(ask(camera, "R13 060C 0000").at(9))));
  EXPECT_EQ(ask(camera, "R13 060C 0000"), "R13 060C 01A4");  // each fault struck once

  camera.apply("register:2:ETIMEDOUT");
  EXPECT_EQ(send(camera, "R13 060C 0000"), 0);
  std::vector<std::uint8_t> bytes(16);
  EXPECT_EQ(camera.controlGet(5, bytes), -ETIMEDOUT);
  EXPECT_EQ(camera.controlGet(5, bytes), 0);
}

TEST(SimulatedProtocol, UnplugEndsASlowTransferAndReplugPowersOn) {
  SimulatedCamera camera(specOf("bramble6"));
  ask(camera, "W12 0040 0123");
  camera.apply("slow-register:5000");
  std::int32_t status = 0;
  const auto start = std::chrono::steady_clock::now();
  std::thread caller([&] { status = send(camera, "R12 0040 0000"); });
  camera.apply("unplug");
  caller.join();
  EXPECT_EQ(status, transport::kStatusDeviceLost);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
  camera.apply("replug");
  camera.apply("clear");
  EXPECT_EQ(camera.generation(), 1u);
  EXPECT_EQ(ask(camera, "R12 0040 0000"), "R12 0040 0002");
}
