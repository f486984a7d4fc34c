#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "support/simulatedFrames.h"
#include "support/waitFor.h"

using namespace simulation;

namespace {

/// Takes samples as a connection does: asks for the next one at the end of each.
class Receiver : public transport::SampleReceiver {
 public:
  void onSample(std::int32_t status, std::int64_t, const transport::Sample* sample) override {
    if (closed) ++afterClose;
    lastStatus = status;
    lastSize = sample != nullptr ? static_cast<std::int64_t>(sample->bytes.size()) : -1;
    if (sample != nullptr && sample->bytes.size() >= 4) {
      lastFrame = (sample->bytes[0] << 6 | sample->bytes[1] >> 2) +
                  ((sample->bytes[2] << 6 | sample->bytes[3] >> 2) << 14);
    }
    thread = std::this_thread::get_id();
    ++calls;
    if (status >= 0) rearm = device->requestSample().status;
  }

  transport::VideoDevice* device = nullptr;
  std::atomic<int> calls{0}, afterClose{0}, lastStatus{0}, lastFrame{-1}, rearm{0};
  std::atomic<std::int64_t> lastSize{0};
  std::atomic<bool> closed{false};
  std::atomic<std::thread::id> thread{};
};

/// One opened camera of a scenario.
struct Session {
  explicit Session(const std::string& text) : platform(makeSimulatedPlatform(text)) {
    std::vector<transport::DeviceRecord> devices;
    platform->start();
    platform->enumerate(devices);
    EXPECT_FALSE(platform->open(0, receiver, device).failed());
    receiver.device = device.get();
    transport::SelectedType type;
    EXPECT_FALSE(device->selectType(0, type).failed());
  }
  void close() {
    device->close();
    receiver.closed = true;
  }
  SimulatedCamera& camera() { return platform->camera(0); }

  std::shared_ptr<SimulatedPlatform> platform;
  Receiver receiver;
  std::unique_ptr<transport::VideoDevice> device;
};

constexpr int kBytes = 320 * 240 * 2;
const std::string kStepped = "marlow3;scene=coded;step=on;defects=off";

}  // namespace

TEST(SimulatedDelivery, ListsWhatIsPluggedInAndOpensItOnce) {
  const auto platform = makeSimulatedPlatform("hollis12,bramble6,marlow3;step=on");
  std::vector<transport::DeviceRecord> devices;
  ASSERT_FALSE(platform->enumerate(devices).failed());
  ASSERT_EQ(devices.size(), 3u);
  platform->camera(1).apply("unplug");
  platform->enumerate(devices);
  EXPECT_EQ(devices.size(), 2u);
  Receiver receiver;
  std::unique_ptr<transport::VideoDevice> first, second;
  EXPECT_EQ(platform->open(2, receiver, first).status, -EINVAL);
  EXPECT_EQ(platform->open(0, receiver, first).status, 0);
  EXPECT_EQ(platform->open(0, receiver, second).status, -EBUSY);
  first.reset();
  EXPECT_EQ(platform->open(0, receiver, second).status, 0);
}

TEST(SimulatedDelivery, SingleStepsDeliverInOrder) {
  Session session(kStepped);
  EXPECT_EQ(session.device->requestSample().status, 0);
  EXPECT_EQ(session.receiver.calls, 0);  // never from inside the request
  for (int frame = 0; frame < 20; ++frame) {
    ASSERT_EQ(session.platform->pump(0, 1), 1u);
    EXPECT_EQ(session.receiver.calls, frame + 1);
    EXPECT_EQ(session.receiver.lastFrame, frame);
  }
  EXPECT_NE(session.receiver.thread.load(), std::this_thread::get_id());
  EXPECT_EQ(session.platform->pump(0, 5), 5u);
  const auto counts = session.platform->counts(0);
  EXPECT_EQ(counts.produced, 25u);
  EXPECT_EQ(counts.delivered, 25u);
  EXPECT_EQ(counts.dropped, 0u);
  EXPECT_GT(session.platform->handOverNs(0, 1), 0);
  EXPECT_LT(session.platform->handOverNs(0, 1), session.platform->handOverNs(0, 25));
  EXPECT_EQ(session.platform->handOverNs(0, 26), 0);
  // Some systems count processor time in steps of many frames.
  EXPECT_TRUE(waitFor([&] {
    session.platform->pump(0, 50);
    return session.platform->counts(0).generatorCpuNs > 0;
  }));
  session.close();
  EXPECT_EQ(session.platform->pump(0, 1), 0u);
}

TEST(SimulatedDelivery, SampleFaults) {
  struct Case {
    const char* fault;
    int calls, status;
    std::int64_t size;
    int frame;  ///< of the last whole sample
  };
  const Case cases[] = {
      {"short", 1, 0, kBytes / 2, 1},       {"empty", 1, 0, 0, 0},      {"missing", 1, 0, -1, 0},
      {"oversize", 1, 0, kBytes + 4096, 1}, {"failed", 1, -EIO, -1, 0}, {"duplicate", 1, 0, kBytes, 0},
      {"stall", 0, 0, kBytes, 0},
  };
  for (const auto& [fault, calls, status, size, frame] : cases) {
    Session session(kStepped + ";fault=" + fault + "@1");
    session.device->requestSample();
    ASSERT_EQ(session.platform->pump(0, 1), 1u) << fault;
    ASSERT_EQ(session.receiver.calls, 1) << fault;
    ASSERT_EQ(session.platform->pump(0, 1), 1u) << fault;
    EXPECT_EQ(session.receiver.calls, 1 + calls) << fault;
    EXPECT_EQ(session.receiver.lastStatus, status) << fault;
    EXPECT_EQ(session.receiver.lastSize, size) << fault;
    EXPECT_EQ(session.receiver.lastFrame, frame) << fault;
    if (status < 0) session.device->requestSample();
    session.camera().apply("resume");
    ASSERT_EQ(session.platform->pump(0, 1), 1u) << fault;
    EXPECT_EQ(session.receiver.lastFrame, 2) << fault;  // the clock went on
    EXPECT_EQ(session.receiver.lastSize, kBytes) << fault;
  }
}

TEST(SimulatedDelivery, RefusalsAndUnplug) {
  Session refused(kStepped + ";fault=refuse-start:1");
  EXPECT_EQ(refused.device->requestSample().status, -EBUSY);
  EXPECT_EQ(refused.device->requestSample().status, 0);
  refused.camera().apply("fail-rearm");
  refused.platform->pump(0, 1);
  EXPECT_EQ(refused.receiver.rearm, -EIO);
  refused.camera().apply("refuse-type:1");
  transport::SelectedType type;
  EXPECT_EQ(refused.device->selectType(0, type).status, -EINVAL);
  EXPECT_EQ(refused.device->selectType(0, type).status, 0);
  EXPECT_EQ(refused.device->selectType(1, type).status, -EINVAL);

  Session session(kStepped + ";fault=unplug@2");
  session.device->requestSample();
  session.platform->pump(0, 3, std::chrono::milliseconds(2000));
  EXPECT_TRUE(waitFor([&] { return session.receiver.lastStatus == transport::kStatusDeviceLost; }));
  EXPECT_EQ(session.receiver.calls, 3);  // two samples and the loss
  EXPECT_EQ(session.device->requestSample().status, transport::kStatusDeviceLost);
  std::vector<transport::TopologyNode> nodes;
  EXPECT_EQ(session.device->topologyNodes(nodes).status, transport::kStatusDeviceLost);
  session.camera().apply("replug");  // plugged in again, but this handle stays dead
  EXPECT_EQ(session.device->requestSample().status, transport::kStatusDeviceLost);
  session.close();
  std::vector<transport::DeviceRecord> devices;
  session.platform->enumerate(devices);
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(session.platform->open(0, session.receiver, session.device).status, 0);
}

TEST(SimulatedDelivery, SlowStopIsLeftBehind) {
  Session session("marlow3;scene=coded;rate=500;fault=slow-stop:3000");
  session.device->requestSample();
  ASSERT_TRUE(waitFor([&] { return session.receiver.calls > 5; }));
  const auto start = std::chrono::steady_clock::now();
  session.close();
  const auto taken = std::chrono::steady_clock::now() - start;
  EXPECT_LT(taken, std::chrono::milliseconds(2500));
  session.close();
  session.device.reset();
  EXPECT_EQ(session.receiver.afterClose, 0);
}

TEST(SimulatedDelivery, ALateConsumerLosesSamples) {
  Session session("marlow3;scene=coded;rate=500;buffers=2");
  class Slow : public transport::SampleReceiver {
   public:
    void onSample(std::int32_t, std::int64_t, const transport::Sample*) override { ++calls; }
    std::atomic<int> calls{0};
  } slow;
  session.close();
  session.device.reset();
  std::vector<transport::DeviceRecord> devices;
  session.platform->enumerate(devices);
  std::unique_ptr<transport::VideoDevice> device;
  ASSERT_EQ(session.platform->open(0, slow, device).status, 0);
  device->requestSample();
  ASSERT_TRUE(waitFor([&] { return slow.calls == 1; }));
  std::this_thread::sleep_for(
      std::chrono::milliseconds(100));  // what the consumer does meanwhile: 50 periods
  device->requestSample();
  ASSERT_TRUE(waitFor([&] { return slow.calls == 2; }));
  device->close();
  const auto counts = session.platform->counts(0);
  EXPECT_EQ(counts.delivered, 2u);
  EXPECT_GE(counts.dropped, 40u);
  EXPECT_EQ(counts.produced, counts.delivered + counts.dropped);
}
