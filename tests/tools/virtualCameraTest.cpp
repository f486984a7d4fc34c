// The virtual camera without a kernel: descriptors, messages, payloads, control transfers, and a whole camera
// on a socket whose other end plays the host.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <numeric>
#include <thread>

#include "acquisition/backends/v4l2/usbDescriptors.h"
#include "acquisition/transport/extensionUnit.h"
#include "common/littleEndian.h"
#include "support/scratchFiles.h"
#include "support/waitFor.h"
#include "tools/virtual-camera/CameraServer.h"
#include "tools/virtual-camera/hostPort.h"

using namespace virtualcamera;
using testing::ElementsAre;

namespace {

simulation::CameraSpec cameraSpec(const std::string& text) {
  simulation::Scenario scenario;
  simulation::ScenarioError error;
  EXPECT_TRUE(simulation::readScenario(text, scenario, error)) << error.reason;
  return scenario.cameras.at(0);
}

/// Lengths and types of a chain of descriptors, which must end where the chain does.
std::vector<std::pair<int, int>> chain(const Bytes& bytes) {
  std::vector<std::pair<int, int>> found;
  std::size_t at = 0;
  while (at + 1 < bytes.size() && bytes[at] >= 2) {
    found.emplace_back(bytes[at], bytes[at + 1]);
    at += bytes[at];
  }
  EXPECT_EQ(at, bytes.size());
  return found;
}

SetupPacket classGet(std::uint8_t request, std::uint8_t control, std::uint16_t index, std::uint16_t length) {
  return {0xA1, request, static_cast<std::uint16_t>(control << 8), index, length};
}
SetupPacket classSet(std::uint8_t control, std::uint16_t index, std::size_t length) {
  return {0x21, 0x01, static_cast<std::uint16_t>(control << 8), index, static_cast<std::uint16_t>(length)};
}
constexpr std::uint16_t kUnitIndex = kCameraUnitId << 8 | kControlInterface;
constexpr std::uint8_t kGetCur = 0x81, kGetLen = 0x85, kGetInfo = 0x86;

Bytes text(std::string_view characters) {
  Bytes bytes(characters.begin(), characters.end());
  bytes.resize(16);
  return bytes;
}

}  // namespace

TEST(VirtualCamera, DescribesEachModelAsAUvcCamera) {
  const struct {
    const char* scenario;
    std::uint8_t product;
    std::uint32_t width, height, frame, interval;
  } models[] = {{"marlow3", 0xea, 320, 240, 153600, 166666},
                {"bramble6", 0xeb, 640, 480, 614400, 166666},
                {"hollis12", 0xec, 1288, 1024, 2637824, 333333}};
  for (const auto& model : models) {
    simulation::SimulatedCamera camera(cameraSpec(model.scenario));
    const UvcControl control(camera);
    const auto& [device, configuration, texts] = control.descriptors();
    EXPECT_THAT(device,
                ElementsAre(18, 1, 0, 2, 0xef, 2, 1, 64, 0x2b, 0x5c, model.product, 0x96, 0, 1, 1, 2, 3, 1));
    EXPECT_EQ(loadLittle16(&configuration[2]), configuration.size());
    const std::vector<std::pair<int, int>> expected = {{9, 2},     {8, 0x0B},  {9, 4},     {13, 0x24},
                                                       {18, 0x24}, {28, 0x24}, {9, 0x24},  {9, 4},
                                                       {14, 0x24}, {27, 0x24}, {30, 0x24}, {7, 5}};
    EXPECT_EQ(chain(configuration), expected);
    // Lengths of the class-specific parts, and the frame, which begins 37 bytes before the end.
    EXPECT_EQ(loadLittle16(&configuration[26 + 5]), 13u + 18 + 28 + 9);
    EXPECT_EQ(loadLittle16(&configuration[26 + 68 + 9 + 4]), 14u + 27 + 30);
    const auto* frame = &configuration[configuration.size() - 37];
    EXPECT_EQ(loadLittle16(frame + 5), model.width);
    EXPECT_EQ(loadLittle16(frame + 7), model.height);
    EXPECT_EQ(loadLittle32(frame + 17), model.frame);
    EXPECT_EQ(loadLittle32(frame + 21), model.interval);
    // What the SDK's own reader finds in them.
    const auto units = v4l2::extensionUnits(configuration);
    ASSERT_EQ(units.size(), 1u);
    EXPECT_EQ(units[0].unitId, kCameraUnitId);
    EXPECT_EQ(units[0].guid, transport::kCameraUnit);
    EXPECT_EQ(texts.at(3).size(), 2u + 2 * 9);
  }
  simulation::SimulatedCamera mixed(cameraSpec("bramble6;types=mixed"));
  EXPECT_EQ(chain(UvcControl(mixed).descriptors().configuration).size(), 8u + 1 + 3 * 2 + 1);
}

TEST(VirtualCamera, MessagesAreTheHostControllersWords) {
  std::array<std::uint8_t, 48> header{};
  const auto set = [&](std::size_t word, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i)
      header[4 * word + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
  };
  for (const auto& [word, value] : {std::pair{0u, 1u}, {1u, 0x01020304u}, {2u, 65538u}, {3u, 1u}, {6u, 34u}})
    set(word, value);
  const Bytes setup = {0xA1, 0x81, 0x00, 0x05, 0x00, 0x02, 0x22, 0x00};
  std::copy(setup.begin(), setup.end(), header.begin() + 40);
  HostMessage message;
  ASSERT_TRUE(parseMessage(header, message));
  EXPECT_EQ(message.sequence, 0x01020304u);
  EXPECT_TRUE(message.in);
  EXPECT_EQ(message.setup, (SetupPacket{0xA1, 0x81, 0x0500, 0x0200, 34}));
  EXPECT_EQ(message.payloadBytes(), 0u);
  set(3, 0);
  ASSERT_TRUE(parseMessage(header, message));
  EXPECT_EQ(message.payloadBytes(), 34u);
  const std::pair<std::size_t, std::uint32_t> nonsense[] = {
      {0, 3}, {4, 16}, {6, 0x00200000}, {6, 0xFFFFFFFF}};
  for (const auto& [word, value] : nonsense) {
    const auto whole = header;
    set(word, value);
    EXPECT_FALSE(parseMessage(header, message)) << word;
    header = whole;
  }
  set(0, 2);
  set(5, 77);
  ASSERT_TRUE(parseMessage(header, message));
  EXPECT_EQ(message.unlinked, 77u);
  EXPECT_EQ(message.payloadBytes(), 0u) << "nothing follows, whatever stands in the place of a length";

  const auto stalled = submitReply(0x0A0B0C0D, -EPIPE, 0x1234);
  EXPECT_THAT(std::vector(stalled.begin(), stalled.begin() + 8), ElementsAre(0, 0, 0, 3, 10, 11, 12, 13));
  EXPECT_THAT(std::vector(stalled.begin() + 20, stalled.begin() + 28),
              ElementsAre(0xFF, 0xFF, 0xFF, 0xE0, 0, 0, 0x12, 0x34));
  EXPECT_EQ(unlinkReply(1, true)[23], 0x98);  // -104
  EXPECT_EQ(unlinkReply(1, false)[23], 0);
}

TEST(VirtualCamera, PayloadsCarryTheFrameWhateverTheTransfersSize) {
  // Ends within a transfer, with a payload, with a transfer but not the payload, and has nothing in it.
  const std::size_t sizes[] = {40000, 2 * 16382, 512 - 2, 8192 - 2, 1, 0};
  for (const std::size_t transferBytes : {16384u, 512u, 4096u, 3000u, 65536u}) {
    PayloadCutter cutter;
    int expectedBit = 0;
    for (const std::size_t size : sizes) {
      Bytes frame(size);
      std::iota(frame.begin(), frame.end(), std::uint8_t{0});
      cutter.begin(frame, size == 1);
      Bytes transfer(transferBytes), received;
      std::size_t inPayload = 0, ends = 0;
      while (!cutter.done()) {
        const std::size_t used = cutter.fill(transfer);
        std::size_t at = 0;
        if (inPayload == 0) {
          ASSERT_GE(used, 2u);
          EXPECT_EQ(transfer[0], 2);
          EXPECT_EQ(transfer[1] & 0xC1, 0x80 | expectedBit | (size == 1 ? 0x40 : 0));
          ends += transfer[1] >> 1 & 1;
          at = 2;
        }
        received.insert(received.end(), transfer.begin() + static_cast<std::ptrdiff_t>(at),
                        transfer.begin() + static_cast<std::ptrdiff_t>(used));
        inPayload += used;
        ASSERT_LE(inPayload, PayloadCutter::kPayloadBytes);
        if (used < transferBytes || inPayload == PayloadCutter::kPayloadBytes) inPayload = 0;
      }
      EXPECT_EQ(inPayload, 0u) << "the host could not tell that the last payload is over";
      EXPECT_EQ(ends, 1u) << "of the last payload alone";
      EXPECT_EQ(received, frame) << size << " in transfers of " << transferBytes;
      expectedBit ^= 1;
    }
  }
}

TEST(VirtualCamera, NegotiatesWhatItOffers) {
  simulation::SimulatedCamera camera(cameraSpec("bramble6;types=mixed;fault=refuse-start:1"));
  UvcControl control(camera);
  EXPECT_THAT(control.answer(classGet(kGetLen, 1, 1, 2), {}).bytes, ElementsAre(34, 0));
  Bytes wish(34, 0xFF);  // a format and an interval that there are not
  EXPECT_EQ(control.answer(classSet(1, 1, 34), wish).status, 0);
  auto probe = control.answer(classGet(kGetCur, 1, 1, 34), {}).bytes;
  ASSERT_EQ(probe.size(), 34u);
  EXPECT_THAT(Bytes(probe.begin(), probe.begin() + 8), ElementsAre(1, 0, 1, 1, 0x0a, 0x8b, 2, 0));
  wish[2] = 3;  // NV12
  control.answer(classSet(1, 1, 26), std::span(wish).first(26));
  probe = control.answer(classGet(kGetCur, 1, 1, 34), {}).bytes;
  EXPECT_EQ(probe[2], 3);
  EXPECT_EQ(loadLittle32(&probe[18]), 640u * 480 * 3 / 2);
  EXPECT_EQ(control.answer(classSet(1, 1, 2), std::span(wish).first(2)).status, -EPIPE);

  EXPECT_EQ(control.answer(classSet(2, 1, 34), probe).status, -EPIPE) << "the refused start";
  const auto commit = control.answer(classSet(2, 1, 34), probe);
  EXPECT_EQ(commit.status, 0);
  EXPECT_EQ(commit.effect, ControlAnswer::Effect::StartStream);
  EXPECT_EQ(control.answer({0x02, 1, 0, 0x81, 0}, {}).effect, ControlAnswer::Effect::StopStream);
  EXPECT_EQ(control.answer({0x02, 1, 0, 0x82, 0}, {}).effect, ControlAnswer::Effect::None);
}

TEST(VirtualCamera, RegistersLieBehindTheExtensionUnit) {
  simulation::SimulatedCamera camera(cameraSpec("bramble6;fault=register:4:ETIMEDOUT"));
  UvcControl control(camera);
  EXPECT_THAT(control.answer(classGet(kGetLen, 16, kUnitIndex, 2), {}).bytes, ElementsAre(0x00, 0x80));
  EXPECT_THAT(control.answer(classGet(kGetInfo, 5, kUnitIndex, 1), {}).bytes, ElementsAre(3));
  const auto command = text("R12 0040 0000");
  EXPECT_EQ(control.answer(classSet(5, kUnitIndex, 16), command).status, 0);
  EXPECT_EQ(control.answer(classGet(kGetCur, 5, kUnitIndex, 16), {}).bytes, text("R12 0040 0002"));
  const struct {
    SetupPacket setup;
    Bytes data;
    std::int32_t status;
    int reason;  // as the camera tells it afterwards
  } refused[] = {{classGet(kGetLen, 17, kUnitIndex, 2), {}, -EPIPE, 6},
                 {classGet(kGetLen, 0, kUnitIndex, 2), {}, -EPIPE, 6},
                 {classGet(kGetLen, 5, 3 << 8, 2), {}, -EPIPE, 5},
                 {classSet(5, kUnitIndex, 8), Bytes(8), -EPIPE, 8},
                 {classSet(6, kUnitIndex, 32), Bytes(32), -EPIPE, 7},
                 {classGet(kGetCur, 6, kUnitIndex, 32), {}, -ETIMEDOUT, 7},  // no stall, no reason
                 {classGet(kGetCur, 6, kUnitIndex, 32), {}, -EPIPE, 0}};
  for (const auto& r : refused) {
    const auto answer = control.answer(r.setup, r.data);
    EXPECT_EQ(answer.status, r.status);
    EXPECT_TRUE(answer.bytes.empty());
    EXPECT_THAT(control.answer(classGet(kGetCur, 2, 0, 1), {}).bytes, ElementsAre(r.reason));
  }
  EXPECT_EQ(control.answer(classGet(kGetCur, 5, kUnitIndex, 8), {}).bytes.size(), 8u) << "no more than asked";
  for (const SetupPacket& setup : {SetupPacket{0x80, 6, 0x0304, 0, 255}, SetupPacket{0x80, 6, 0x0600, 0, 10},
                                   SetupPacket{0x40, 1, 0, 0, 0}, SetupPacket{0x01, 11, 1, 1, 0}})
    EXPECT_EQ(control.answer(setup, {}).status, -EPIPE);
}

TEST(VirtualCamera, FindsAFreeHighSpeedPort) {
  const std::string status =
      "hub port sta spd dev      sockfd local_busid\n"
      "hs  0000 006 003 00010002 000003 1-1\n"
      "hs  0001 004 000 00000000 000000 0-0\n"
      "hs  0002 004 000 00000000 000000 0-0\n"
      "ss  0008 004 000 00000000 000000 0-0\n";
  EXPECT_EQ(freePort(status, 0), 1u);
  EXPECT_EQ(freePort(status, 2), 2u);
  EXPECT_EQ(freePort(status, 3), std::nullopt) << "ports of the faster bus are none";
  EXPECT_EQ(freePort("", 0), std::nullopt);

  const ScratchFolder scratch;
  std::optional<unsigned> port;
  EXPECT_THAT(attachDevice(scratch.path("none"), 7, port), testing::HasSubstr("modprobe vhci-hcd"));
  std::ofstream(scratch.path("status")) << status;
  std::ofstream(scratch.path("attach")) << "";
  EXPECT_EQ(attachDevice(scratch.path(""), 7, port), "");
  std::ifstream written(scratch.path("attach"));
  std::string line;
  std::getline(written, line);
  EXPECT_EQ(line, "1 7 65539 3");
}

namespace {

/// The host's end of a plugged-in camera.
class Host {
 public:
  explicit Host(const std::string& scenario) : camera(cameraSpec(scenario)) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const timeval patience{20, 0};
    setsockopt(ends[1], SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    socket = ends[1];
    server = std::make_unique<CameraServer>(camera, ends[0]);
    thread = std::thread([this] { server->run(); });
  }
  ~Host() {
    server->stop();
    thread.join();
    close(socket);
  }

  void step() { server->step(); }
  /// False when the camera does not take what was sent.
  bool waitUntilRead() const {
    const auto unread = [this] {
      int bytes = 0;
      return ioctl(socket, SIOCOUTQ, &bytes) == 0 && bytes > 0;
    };
    return waitFor([&] { return !unread(); });
  }
  struct Reply {
    std::uint32_t kind = 0, sequence = 0;
    std::int32_t status = 0;
    Bytes bytes;
  };
  /// False when the camera has hung up.
  bool receive(Reply& reply) {
    std::array<std::uint8_t, 48> header{};
    if (!receiveAll(header)) return false;
    const auto word = [&](std::size_t i) {
      return std::uint32_t{header[4 * i]} << 24 | std::uint32_t{header[4 * i + 1]} << 16 |
             std::uint32_t{header[4 * i + 2]} << 8 | header[4 * i + 3];
    };
    reply = {word(0), word(1), static_cast<std::int32_t>(word(5)), {}};
    reply.bytes.resize(word(0) == 3 && ins.at(reply.sequence) ? word(6) : 0);
    return receiveAll(reply.bytes);
  }
  std::uint32_t submit(bool in, std::uint32_t endpoint, std::uint32_t length, const SetupPacket& setup,
                       const Bytes& data = {}) {
    Bytes header(48);
    const auto set = [&](std::size_t word, std::uint32_t value) {
      for (std::size_t i = 0; i < 4; ++i)
        header[4 * word + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    };
    set(0, 1);
    set(1, ++sequence);
    set(3, in);
    set(4, endpoint);
    set(6, length);
    const std::uint8_t bytes[] = {setup.requestType, setup.request};
    std::copy_n(bytes, 2, header.begin() + 40);
    storeLittle16(&header[42], setup.value);
    storeLittle16(&header[44], setup.index);
    storeLittle16(&header[46], setup.length);
    ins[sequence] = in;
    append(header, data);
    // A camera that has hung up already shows in `receive`.
    static_cast<void>(::send(socket, header.data(), header.size(), MSG_NOSIGNAL));
    return sequence;
  }
  void unlink(std::uint32_t which) {
    Bytes header(48);
    header[3] = 2;
    header[7] = static_cast<std::uint8_t>(++sequence);
    header[23] = static_cast<std::uint8_t>(which);
    ASSERT_EQ(::send(socket, header.data(), header.size(), MSG_NOSIGNAL), 48);
  }
  /// Commits the camera's own stream.
  void start() {
    Bytes block(34);
    block[2] = 1;
    const auto asked = submit(false, 0, 34, classSet(2, 1, 34), block);
    Reply reply;
    ASSERT_TRUE(receive(reply));
    EXPECT_EQ(reply.sequence, asked);
    EXPECT_EQ(reply.status, 0);
  }
  /// Takes payloads until one ends a frame; false when the camera has hung up.
  bool takeFrame(Bytes& frame) {
    frame.clear();
    for (;;) {
      const auto asked = submit(true, 1, 16384, {});
      Reply reply;
      if (!receive(reply)) return false;
      EXPECT_EQ(reply.sequence, asked);
      if (reply.bytes.size() < 2) return false;
      frame.insert(frame.end(), reply.bytes.begin() + 2, reply.bytes.end());
      if ((reply.bytes[1] & 2) != 0) return true;
    }
  }

  simulation::SimulatedCamera camera;

 private:
  bool receiveAll(std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
      const auto count = ::recv(socket, bytes.data(), bytes.size(), 0);
      if (count <= 0) return false;
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
  }

  int socket = -1;
  std::unique_ptr<CameraServer> server;
  std::thread thread;
  std::uint32_t sequence = 0;
  std::map<std::uint32_t, bool> ins;
};

}  // namespace

TEST(VirtualCamera, StreamsTheSimulatorsBytesUntilItIsUnplugged) {
  const std::string scenario = "hollis12;step=on;seed=3";
  Host host(scenario + ";fault=short:1@2;fault=missing:1@3;fault=unplug@5");
  host.start();
  for (int n = 0; n < 6; ++n) host.step();
  simulation::SimulatedCamera twin(cameraSpec(scenario));
  Bytes expected(twin.largestSampleBytes()), frame;
  for (int n = 0; n < 5; ++n) {
    const auto whole = twin.produce(expected).sizeBytes;
    if (n == 3) continue;  // no payload tells of it
    ASSERT_TRUE(host.takeFrame(frame)) << n;
    const auto size = static_cast<std::ptrdiff_t>(n == 2 ? whole / 2 : whole);
    EXPECT_TRUE(std::equal(frame.begin(), frame.end(), expected.begin(), expected.begin() + size)) << n;
  }
  EXPECT_FALSE(host.takeFrame(frame));
}

TEST(VirtualCamera, CallsOffWhatStillWaits) {
  Host host("marlow3;fault=stall");
  const auto first = host.submit(true, 1, 512, {}), second = host.submit(true, 1, 512, {});
  host.unlink(first);
  host.unlink(first);
  Host::Reply reply;
  ASSERT_TRUE(host.receive(reply));
  EXPECT_EQ(reply.kind, 4u);
  EXPECT_EQ(reply.status, -ECONNRESET);
  ASSERT_TRUE(host.receive(reply));
  EXPECT_EQ(reply.status, 0) << "it does not wait any more";
  host.start();
  EXPECT_EQ(host.camera.apply("resume"), "");
  ASSERT_TRUE(host.receive(reply));
  EXPECT_EQ(reply.sequence, second);
  EXPECT_EQ(reply.bytes.size(), 512u);
  // No frame follows the answer to a stop.
  const auto stop = host.submit(false, 0, 0, {0x02, 1, 0, 0x81, 0});
  while (host.receive(reply) && reply.sequence != stop) {
  }
  host.unlink(host.submit(true, 1, 512, {}));
  ASSERT_TRUE(host.receive(reply));
  EXPECT_EQ(reply.status, -ECONNRESET);
}

TEST(VirtualCamera, EndsInTheMiddleOfASlowStop) {
  const auto begin = std::chrono::steady_clock::now();
  {
    Host host("marlow3;fault=slow-stop:60000");
    const auto asked = host.submit(true, 0, 9, {0x80, 6, 0x0200, 0, 255});
    Host::Reply reply;
    ASSERT_TRUE(host.receive(reply));
    EXPECT_EQ(reply.sequence, asked);
    EXPECT_EQ(reply.bytes.size(), 9u) << "no more than the transfer has room for";
    host.start();
    Bytes frame;
    ASSERT_TRUE(host.takeFrame(frame));
    host.submit(false, 0, 0, {0x02, 1, 0, 0x81, 0});
    EXPECT_TRUE(host.waitUntilRead());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}
