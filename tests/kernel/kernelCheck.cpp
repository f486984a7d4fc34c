// Checks of the SDK on cameras that a real kernel drives. Run in the test's virtual machine, one check per
// process: kernel_check CHECK ARGUMENTS. Prints what failed, with the library's log; exit status 0 or 1.

#include <linux/videodev2.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include "acquisition/backends/v4l2/LinuxSystemCalls.h"
#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "kernel/codedFrames.h"
#include "ombrix/Ombrix.h"
#include "ombrix/OmbrixSDK.h"
#include "support/LogCapture.h"

namespace {

constexpr const char* kSteps = "/run/steps";  // a line here lets a frame period of the cameras pass

using Clock = std::chrono::steady_clock;

/// Thrown where a check fails.
struct Failed {
  std::string why;
};

void require(bool holds, const std::string& why) {
  if (!holds) throw Failed{why};
}

/// The sample that delivery n (from 1) hands out when every sample is taken at once; 0 is the zero-filled
/// slot. The ring's order: every fourth delivery repeats the picture before it.
std::uint64_t sampleOfDelivery(std::uint64_t n) { return n % 4 == 1 ? n - 1 : n; }

/// Deliveries 1, 2, 3, ... of one camera, of which none may be missing.
class OrderedStream {
 public:
  OrderedStream(Ombrix& camera, int handle) : frames(camera, handle) {}
  void takeNext() {
    const auto sample = sampleOfDelivery(++taken);
    const bool right = sample == 0 ? frames.takeZeros() : frames.takeExactly(sample - 1);
    require(right, frames.complaint());
    require(frames.deliveryNumber() == taken,
            format("delivery {:d} came after {:d}", frames.deliveryNumber(), taken - 1));
  }

 private:
  CodedFrames frames;
  std::uint64_t taken = 0;
};

void requireOpen(Ombrix& camera) {
  require(camera.getErrorText() == "none", "opening failed: " + camera.getErrorText());
}

/// COUNT CAMERAS: so many frames of each of the first CAMERAS cameras, side by side. Each step lets every
/// camera send one frame, so that the order does not hang on how fast the machine is.
void checkFrames(const std::vector<std::uint64_t>& numbers, LogCapture&) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> steps(std::fopen(kSteps, "w"), std::fclose);
  require(steps != nullptr, std::string("no ") + kSteps);
  OmbrixSDK sdk;
  std::vector<std::unique_ptr<Ombrix>> cameras;
  std::vector<OrderedStream> streams;
  for (std::uint64_t i = 0; i < numbers.at(1); ++i) {
    const int handle = static_cast<int>(i);
    cameras.push_back(std::make_unique<Ombrix>(handle));
    requireOpen(*cameras.back());
    streams.emplace_back(*cameras.back(), handle);
  }
  for (std::uint64_t n = 0; n < numbers.at(0); ++n) {
    require(std::fputc('\n', steps.get()) == '\n' && std::fflush(steps.get()) == 0, "no step");
    for (auto& stream : streams) stream.takeNext();
  }
}

/// The commands of the golden files, which the camera's own list of transfers is compared with.
void checkRegisters(const std::vector<std::uint64_t>&, LogCapture&) {
  require(UVCConnection::init() && UVCConnection::deviceCount() == 1, "no camera");
  const auto model = UVCConnection::describeDevice(0);
  {
    UVCConnection connection("kernel_check", uvcBackendDefault);
    require(
        connection.connectUVC(static_cast<int>(model.vid), static_cast<int>(model.pid), 0, dataTypeThermal),
        "no connection");
    auto& registers = connection.registers();
    const bool marlow = model.pid == 0x96ea;
    const CameraRegisters::CommandList start = {
        {"W01 0120 0001", ""}, {"W13 0201 0000", ""}, {"W13 0202 0000", ""}, {"W13 0203 0000", ""},
        {"W13 0204 0000", ""}, {"W13 0205 0000", ""}, {"W13 0601 0000", ""}, {"W13 010B 0000", ""}};
    std::array<std::uint16_t, 4> values{};
    bool sent = !marlow || registers.sendList(start);
    sent = registers.readSerialNumber() == 466001359 && sent;
    sent = (marlow ? registers.readCurrentAGC(values) : registers.readSensorConfiguration(values)) && sent;
    sent = registers.writeCoreConfiguration(0) && sent;
    sent = !registers.readPartNumber().empty() && sent;
    sent = (marlow ? registers.setCurrentGSK(0x12AB) : registers.setGSK(0x12AB)) && sent;
    sent = (marlow ? registers.setCurrentGFID(0x0C0D) : registers.setGFID(0x0C0D)) && sent;
    sent = (marlow ? registers.setCurrentTINT(0xFF01) : registers.setIntegrationTime(0xFF01)) && sent;
    sent = (marlow || registers.setImageGain(7)) && sent;
    sent = registers.setShutter(true) && sent;
    sent = registers.setShutter(false) && sent;
    require(sent, "a transfer failed or brought the wrong value");
  }
  UVCConnection::shutdown();
}

/// 1 or 0: whether the camera has a shutter. A closed one hides the coded scene.
void checkShutter(const std::vector<std::uint64_t>& numbers, LogCapture&) {
  constexpr int kMostFrames = 60;
  OmbrixSDK sdk;
  Ombrix camera(0);
  requireOpen(camera);
  CodedFrames frames(camera, 0);
  const auto reaches = [&](bool coded) {
    for (int i = 0; i < kMostFrames; ++i) {
      const bool shows = frames.takeAny();
      require(shows || frames.complaint() != "no frame came", frames.complaint());
      if (shows == coded) return true;
    }
    return false;
  };
  require(frames.takeZeros() && frames.takeAny(), frames.complaint());
  camera.closeShutter();
  if (numbers.at(0) == 1) {
    require(reaches(false), "the closed shutter does not show");
  } else {
    for (int i = 0; i < 12; ++i) require(frames.takeAny(), frames.complaint());
  }
  camera.openShutter();
  require(reaches(true), "the open shutter does not show");
}

/// FRAMES: the camera goes after at least so many deliveries, and comes back.
void checkUnplug(const std::vector<std::uint64_t>& numbers, LogCapture& log) {
  constexpr int kTimeoutMs = 1500;
  constexpr auto kCleanUp = std::chrono::seconds(2), kReturn = std::chrono::seconds(20);
  auto sdk = std::make_unique<OmbrixSDK>();
  {
    Ombrix camera(0);
    requireOpen(camera);
    const CodedFrames cheap(camera, 0);
    std::uint64_t taken = 0;
    while (camera.getRawFrame(nullptr, nullptr, kTimeoutMs)) ++taken;
    require(taken >= numbers.at(0), format("only {:d} frames came before the unplugging", taken));
    const auto expected =
        format("Thermal frame not available within {:d} milliseconds. Handle: 0", kTimeoutMs);
    require(log.contains(expected), "no line '" + expected + "'");
  }
  const auto start = Clock::now();
  sdk.reset();
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
  require(elapsed < kCleanUp, format("clean-up took {:d} ms", elapsed.count()));
  const auto deadline = Clock::now() + kReturn;
  for (;;) {
    sdk = std::make_unique<OmbrixSDK>();
    if (sdk->getDeviceCount() == 1) break;
    require(Clock::now() < deadline, "the camera did not come back");
    sdk.reset();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  Ombrix camera(0);
  requireOpen(camera);
  CodedFrames frames(camera, 0);
  require(frames.takeZeros(), frames.complaint());
  std::uint64_t last = 0;
  for (int i = 0; i < 12; ++i) {
    require(frames.takeAny(), frames.complaint());
    require(frames.shownFrame() >= last, "frames out of order");
    last = frames.shownFrame();
  }
}

/// The system's own calls, with an eye on what goes to an output node.
class WatchedCalls : public v4l2::LinuxSystemCalls {
 public:
  int control(int descriptor, unsigned long request, void* argument) override {
    const int result = LinuxSystemCalls::control(descriptor, request, argument);
    if (result < 0 || (request != VIDIOC_QBUF && request != VIDIOC_DQBUF)) return result;
    const auto& buffer = *static_cast<const v4l2_buffer*>(argument);
    if (buffer.type != V4L2_BUF_TYPE_VIDEO_OUTPUT) return result;
    if (request == VIDIOC_QBUF) ++queued;
    if (request == VIDIOC_DQBUF && (buffer.flags & V4L2_BUF_FLAG_ERROR) == 0) ++shown;
    return result;
  }
  std::atomic<int> queued = 0, shown = 0;
};

/// NUMBER of the output node: colour frames reach it, and the driver takes them.
void checkLoopback(const std::vector<std::uint64_t>& numbers, LogCapture& log) {
  constexpr int kFrames = 24, kTimeoutMs = 20000;
  const auto node = format("/dev/video{:d}", numbers.at(0));
  const auto calls = std::make_shared<WatchedCalls>();
  v4l2::setSystemCallsForTesting(calls);
  OmbrixSDK sdk;
  sdk.parseCoreParameter("v4l2Loopback=" + node);
  Ombrix camera(0);
  requireOpen(camera);
  for (int i = 0; i < kFrames; ++i)
    require(camera.getColorFrame(nullptr, nullptr, kTimeoutMs), "no colour frame");
  require(!log.contains("loopback"), "the output was refused or closed");
  require(calls->queued >= kFrames / 2 && calls->shown >= kFrames / 4,
          format("{:d} frames were queued, {:d} shown", calls->queued.load(), calls->shown.load()));
  std::uint64_t width = 0, height = 0;
  camera.getImageSize(width, height);
  const int second = calls->openNode(node);
  v4l2_format present{};
  present.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
  require(second >= 0 && calls->control(second, VIDIOC_G_FMT, &present) >= 0, "no format");
  calls->closeDescriptor(second);
  require(present.fmt.pix.width == width && present.fmt.pix.height == height &&
              present.fmt.pix.pixelformat == V4L2_PIX_FMT_RGB32,
          "the output has another format");
}

using Check = std::function<void(const std::vector<std::uint64_t>&, LogCapture&)>;

int runCheck(const Check& check, const std::vector<std::uint64_t>& numbers) {
  LogCapture log(logger::verbosityWarnings);
  std::string why;
  try {
    check(numbers, log);
    return 0;
  } catch (const Failed& failure) {
    why = failure.why;
  } catch (const std::exception& error) {
    why = error.what();
  }
  std::printf("%s\n%s", why.c_str(), log.text().c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::map<std::string, Check> checks = {{"frames", checkFrames},
                                               {"registers", checkRegisters},
                                               {"shutter", checkShutter},
                                               {"unplug", checkUnplug},
                                               {"loopback", checkLoopback}};
  const auto found = checks.find(argc > 1 ? argv[1] : "");
  if (found == checks.end()) {
    std::fprintf(stderr,
                 "kernel_check: frames COUNT CAMERAS, registers, shutter 0|1, unplug FRAMES, "
                 "loopback NODE\n");
    return 2;
  }
  std::vector<std::uint64_t> numbers;
  for (int i = 2; i < argc; ++i) numbers.push_back(std::strtoull(argv[i], nullptr, 10));
  return runCheck(found->second, numbers);
}
