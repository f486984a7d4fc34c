#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <thread>

#include "acquisition/transport/UVCConnection.h"
#include "support/LogCapture.h"
#include "support/ScriptedPlatform.h"
#include "support/waitFor.h"

using testing::ElementsAre;

namespace {

constexpr auto kTwoSeconds = std::chrono::seconds(2);

/// One connected camera with a ring of four images, as the acquisition sets it up.
struct Stream {
  explicit Stream(std::shared_ptr<ScriptedCamera> scripted, std::uint16_t width = 640,
                  std::uint16_t height = 480)
      : camera(std::move(scripted)) {
    for (int i = 0; i < 4; ++i) {
      images[i].allocate(width, height);
      slots[i] = &images[i];
    }
    platform->cameras = {camera};
    transport::installVideoPlatform(platform);
    EXPECT_TRUE(UVCConnection::init());
    EXPECT_TRUE(connection->connectUVC(0x5c2b, 0x96eb, 0, dataTypeThermal));
    connection->setAcqPointers(slots, &writeIndex, &mutex, &frameCounter, 4, &condition, &frameReady);
    log.clear();
  }
  ~Stream() {
    connection.reset();
    UVCConnection::shutdown();
    transport::installVideoPlatform(nullptr);
  }
  bool start() {
    return connection->startStreaming(nullptr, connection->streamWidth(), connection->streamHeight(), 0);
  }
  /// A sample of the stream's size whose pixels all hold `level`.
  std::vector<std::uint8_t> sample(int level) const {
    const auto pixels = static_cast<std::size_t>(connection->streamWidth()) *
                        static_cast<std::size_t>(connection->streamHeight());
    std::vector<std::uint8_t> bytes(pixels * 2);
    for (std::size_t i = 0; i < pixels; ++i) {
      bytes[i * 2] = static_cast<std::uint8_t>(level >> 6);
      bytes[i * 2 + 1] = static_cast<std::uint8_t>((level & 63) << 2);
    }
    return bytes;
  }
  bool pump(const std::vector<std::uint8_t>& bytes) { return camera->pump(0, &bytes); }

  LogCapture log{logger::verbosityInfo};
  std::shared_ptr<ScriptedCamera> camera;
  std::shared_ptr<ScriptedPlatform> platform = std::make_shared<ScriptedPlatform>();
  image<unsigned short> images[4];
  image<unsigned short>* slots[4] = {};
  int writeIndex = 0;
  std::mutex mutex;
  std::atomic<unsigned long long> frameCounter{0};
  std::condition_variable condition;
  bool frameReady = false;
  std::unique_ptr<UVCConnection> connection = std::make_unique<UVCConnection>("camera", uvcBackendDefault);
};

}  // namespace

TEST(SampleDelivery, FillsTheRingSlotBySlot) {
  Stream stream(ScriptedCamera::bramble6());
  EXPECT_FALSE(stream.camera->sampleRequested());
  ASSERT_TRUE(stream.start());
  for (int i = 1; i <= 5; ++i) {
    ASSERT_TRUE(stream.pump(stream.sample(1000 + i))) << "the next sample must have been asked for";
    EXPECT_EQ(stream.writeIndex, i % 4);
    EXPECT_EQ(stream.frameCounter.load(), static_cast<unsigned long long>(i));
    EXPECT_TRUE(stream.frameReady);
    stream.frameReady = false;
  }
  EXPECT_EQ(stream.images[0].view().at(639, 479), 1005);
  EXPECT_EQ(stream.images[1].view().at(0, 0), 1002);
  EXPECT_EQ(stream.images[3].view().at(17, 240), 1004);
  // Level 1005 in the last pixel is 0F B4, read low byte first B40F = 46095: -75.4720 by hand.
  EXPECT_NEAR(stream.connection->sensorTemperature.load(), -75.4720f, 0.001f);
}

TEST(SampleDelivery, UnfitSamplesAndRingsAreCountedAndDropped) {
  Stream stream(ScriptedCamera::bramble6());
  ASSERT_TRUE(stream.start());
  auto shortOne = stream.sample(7);
  shortOne.pop_back();
  auto large = stream.sample(8);
  large.resize(large.size() + 4096);

  EXPECT_TRUE(stream.pump(shortOne));
  EXPECT_TRUE(stream.pump({}));
  EXPECT_TRUE(stream.camera->pump(0, nullptr));
  EXPECT_EQ(stream.frameCounter.load(), 0u);
  EXPECT_FALSE(stream.frameReady);
  EXPECT_EQ(stream.connection->droppedSamples(), 3u);
  EXPECT_EQ(stream.connection->sensorTemperature.load(), 0.0f);

  EXPECT_TRUE(stream.pump(large));
  EXPECT_EQ(stream.frameCounter.load(), 1u);

  for (const int bad : {-1, 4, 1 << 30}) {
    stream.writeIndex = bad;
    EXPECT_TRUE(stream.pump(stream.sample(9)));
  }
  stream.writeIndex = 2;
  stream.slots[2] = nullptr;
  EXPECT_TRUE(stream.pump(stream.sample(9)));
  stream.images[2].release();
  stream.slots[2] = &stream.images[2];
  EXPECT_TRUE(stream.pump(stream.sample(9)));
  EXPECT_EQ(stream.frameCounter.load(), 1u);
  EXPECT_EQ(stream.connection->droppedSamples(), 8u);
  EXPECT_THAT(stream.log.lines(), ElementsAre());
}

TEST(Streaming, StopWaitsForASampleInFlightAndForgetsTheRing) {
  Stream stream(ScriptedCamera::marlow3(), 320, 240);
  ASSERT_TRUE(stream.start());
  const auto bytes = stream.sample(5);
  ASSERT_TRUE(stream.pump(bytes));
  // The delivery is held in the ring hand-off while the stop begins.
  std::unique_lock<std::mutex> held(stream.mutex);
  std::thread delivery([&] { stream.pump(bytes); });
  ASSERT_TRUE(waitFor([&] { return !stream.camera->sampleRequested(); }));
  std::atomic<bool> stopped{false};
  std::thread stopper([&] {
    EXPECT_TRUE(stream.connection->stopStreaming());
    stopped = true;
  });
  held.unlock();
  stopper.join();
  delivery.join();
  EXPECT_TRUE(stopped);
  const unsigned long long frames = stream.frameCounter.load();
  EXPECT_LE(frames, 2u);
  const transport::Sample late{bytes};
  stream.connection->OnReadSample(0, 0, 0, 0, &late);
  EXPECT_EQ(stream.frameCounter.load(), frames);
  EXPECT_TRUE(stream.connection->stopStreaming()) << "a second stop is harmless";
}

TEST(Streaming, ASampleAfterTheStopBeganIsNeitherTakenNorFollowed) {
  Stream stream(ScriptedCamera::bramble6());
  ASSERT_TRUE(stream.start());
  stream.connection->beginStop();
  EXPECT_TRUE(stream.pump(stream.sample(5)));
  EXPECT_EQ(stream.frameCounter.load(), 0u);
  EXPECT_EQ(stream.connection->droppedSamples(), 0u);
  EXPECT_FALSE(stream.camera->sampleRequested());
  EXPECT_TRUE(stream.connection->stopStreaming());
}

TEST(Streaming, StopIsBoundedWhenNoFrameBecomesReady) {
  for (const bool sampleCame : {false, true}) {
    Stream stream(ScriptedCamera::bramble6());
    ASSERT_TRUE(stream.start());
    if (sampleCame) stream.pump(stream.sample(5));
    stream.frameReady = false;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(stream.connection->stopStreaming());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kTwoSeconds);
  }
}

TEST(Streaming, DestructionEndsALiveStream) {
  Stream stream(ScriptedCamera::bramble6());
  ASSERT_TRUE(stream.start());
  stream.camera->pumpFromOwnThread(stream.sample(9));
  ASSERT_TRUE(waitFor([&] { return stream.frameCounter.load() > 3; }));
  stream.connection.reset();
  EXPECT_TRUE(stream.camera->closed());
  const unsigned long long frames = stream.frameCounter.load();
  EXPECT_EQ(stream.writeIndex, static_cast<int>(frames % 4));
  EXPECT_EQ(stream.platform->startCount(), 1) << "only the start of init is left";
}

TEST(Streaming, DestructionWaitsForATransferInProgress) {
  Stream stream(ScriptedCamera::bramble6());
  std::atomic<bool> inTransfer{false}, release{false}, destroyed{false};
  stream.camera->duringTransfer = [&] {
    inTransfer = true;
    waitFor([&] { return release.load(); });
  };
  std::uint16_t answer = 0xFFFF;
  std::thread commander([&, &registers = stream.connection->registers()] {
    answer = registers.sendCommand("R12 0040 1F2E", "GAIN_IMAGE");
  });
  ASSERT_TRUE(waitFor([&] { return inTransfer.load(); }));
  std::thread destroyer([&] {
    stream.connection.reset();
    destroyed = true;
  });
  ASSERT_TRUE(waitFor([&] { return stream.camera->closed(); }));
  EXPECT_FALSE(waitFor([&] { return destroyed.load(); }, std::chrono::milliseconds(50)));
  release = true;
  destroyer.join();
  commander.join();
  EXPECT_EQ(answer, 0) << "the reply is refused once the connection closes";
}
