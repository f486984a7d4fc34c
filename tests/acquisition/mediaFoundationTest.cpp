// The backend for Windows on a camera in memory, through the system's own source reader.

#include <gtest/gtest.h>
#include <mferror.h>

#include <algorithm>
#include <condition_variable>
#include <optional>
#include <tuple>

#include "acquisition/backends/mediafoundation/SampleCallback.h"
#include "acquisition/backends/mediafoundation/Steps.h"
#include "acquisition/transport/UVCConnection.h"
#include "support/LogCapture.h"
#include "support/mediafoundation/FakeSource.h"
#include "support/waitFor.h"

namespace {

namespace step = transport::step;

/// The steps taken, from all threads, and the one to refuse.
struct Watch {
  Mutex mutex;
  std::vector<std::string> steps GUARDED_BY(mutex);
  std::size_t refused GUARDED_BY(mutex) = 0;  // counts from 1; 0 = none
};

Watch& watch() {
  static Watch object;
  return object;
}

HRESULT noteOrRefuse(const char* name) {
  MutexLock lock(watch().mutex);
  watch().steps.emplace_back(name);
  return watch().steps.size() == watch().refused ? E_FAIL : S_OK;
}

std::vector<std::string> stepsSoFar() {
  MutexLock lock(watch().mutex);
  return watch().steps;
}

class MediaFoundation : public testing::Test {
 protected:
  /// Media Foundation stays up in between: wine hangs now and then when it goes down and up again.
  static void SetUpTestSuite() { ASSERT_TRUE(SUCCEEDED(MFStartup(MF_VERSION, MFSTARTUP_FULL))); }
  static void TearDownTestSuite() { MFShutdown(); }
  MediaFoundation() { mediafoundation::setStepHookForTesting(noteOrRefuse); }
  ~MediaFoundation() override { mediafoundation::setStepHookForTesting(nullptr); }
  static void refuse(std::size_t number) {
    MutexLock lock(watch().mutex);
    watch().steps.clear();
    watch().refused = number;
  }
  const std::shared_ptr<FakeSource> camera = std::make_shared<FakeSource>();
};

/// A connection with a ring of four images, as the acquisition sets it up.
struct Connected {
  explicit Connected(const std::shared_ptr<FakeSource>& camera) {
    transport::installVideoPlatform(platformOf({camera}));
    connection.emplace("camera", uvcBackendDefault);
    for (int i = 0; i < 4; ++i) {
      images[i].allocate(320, 240);
      slots[i] = &images[i];
    }
  }
  ~Connected() {
    connection.reset();
    UVCConnection::shutdown();
    transport::installVideoPlatform(nullptr);
  }
  bool connect() {
    return UVCConnection::init() && connection->connectUVC(0x5c2b, 0x96ea, 0, dataTypeThermal);
  }
  bool start() {
    connection->setAcqPointers(slots, &writeIndex, &mutex, &frameCounter, 4, &condition, &frameReady);
    return connection->startStreaming(nullptr, connection->streamWidth(), connection->streamHeight(), 0);
  }
  /// The whole road, up to a frame.
  bool runs() {
    frameCounter = 0;
    return connect() && connection->registers().writeCoreConfiguration(0) && start() &&
           waitFor([this] { return frameCounter > 0; });
  }

  LogCapture log{logger::verbosityInfo};
  std::optional<UVCConnection> connection;
  image<unsigned short> images[4];
  image<unsigned short>* slots[4] = {};
  int writeIndex = 0;
  std::mutex mutex;
  std::atomic<unsigned long long> frameCounter{0};
  std::condition_variable condition;
  bool frameReady = false;
};

}  // namespace

TEST_F(MediaFoundation, SamplesCommandsAndNamesArrive) {
  for (std::size_t i = 0; i < camera->sample.size(); i += 2) {
    camera->sample[i] = static_cast<std::uint8_t>(i / 640);  // of the row
    camera->sample[i + 1] = 0xA7;
  }
  refuse(0);
  {
    Connected stream(camera);
    ASSERT_TRUE(stream.connect()) << stream.log.text();
    EXPECT_EQ(UVCConnection::deviceName(0), "Marlow \xC3\xA4\xE2\x82\xAC");
    EXPECT_EQ(stream.connection->streamWidth(), 320);
    EXPECT_EQ(stream.connection->streamHeight(), 240);
    EXPECT_TRUE(stream.connection->registers().writeCoreConfiguration(0x12));
    ASSERT_TRUE(stream.start());
    ASSERT_TRUE(waitFor([&] { return stream.frameCounter >= 200; })) << stream.log.text();
    EXPECT_TRUE(stream.connection->stopStreaming());
    const auto frames = stream.frameCounter.load();
    EXPECT_EQ(camera->shutDowns, 1);
    for (const int row : {0, 1, 239}) {
      EXPECT_EQ(stream.images[2].data[row * 320 + 5], row << 6 | 0xA7 >> 2);
    }
    // 359.397 - (0xA7 * 256 + 239) * 0.02778
    EXPECT_NEAR(stream.connection->sensorTemperature.load(), 359.397 - 42991 * 0.02778, 0.01);
    EXPECT_EQ(stream.frameCounter, frames);
  }
  EXPECT_EQ(camera->objects, 0) << "nor does the list of cameras hold any";
  const auto transfers = camera->transfers();
  ASSERT_GE(transfers.size(), 1u);
  EXPECT_EQ(transfers[0].selector, 5u);
  EXPECT_EQ(transfers[0].flags, 2u);
  EXPECT_EQ(transfers[0].bytes.size(), 16u);
  EXPECT_EQ(std::string(transfers[0].bytes.begin(), transfers[0].bytes.end()),
            std::string("W00 0005 0012\0\0\0", 16));

  const std::vector<std::string> road = {
      step::kCreateAttributeStore, step::kSetCaptureGuid, step::kEnumerate, step::kFriendlyName,
      step::kDevicePath,
      // the camera
      step::kActivate, step::kAllocateAttributes, step::kDisableConverters, step::kSetCallback,
      step::kCreateReader,
      // its unit: three nodes, of which two may be units
      step::kQueryTopology, step::kNumNodes, step::kNodeType, step::kNodeType, step::kNodeType,
      step::kNodeInstance, step::kNodeControl, step::kNodeProperty, step::kNodeInstance, step::kNodeControl,
      step::kNodeProperty,
      // its types: one stream, two types
      step::kCreatePresentation, step::kStreamCount, step::kStreamDescriptor, step::kTypeHandler,
      step::kTypeCount, step::kTypeByIndex, step::kSubType, step::kTypeByIndex, step::kSubType,
      step::kFrameSize, step::kFrameSize, step::kSetType,
      // a command, and frames
      step::kQueryTopology, step::kNodeInstance, step::kNodeControl, step::kTransfer};
  const std::vector<std::string> taken = stepsSoFar();
  ASSERT_GT(taken.size(), road.size());
  EXPECT_EQ(std::vector(taken.begin(), taken.begin() + static_cast<std::ptrdiff_t>(road.size())), road);
  EXPECT_EQ(taken.back(), step::kFirstSample);
}

TEST_F(MediaFoundation, EveryStepFailsOnce) {
  std::size_t steps = 40;  // of the road to the first frame, counted in the round without a fault
  for (std::size_t failing = 0; failing <= steps; ++failing) {
    refuse(failing);
    Connected stream(camera);
    EXPECT_EQ(stream.runs(), failing == 0) << failing;
    if (failing == 0) {
      const std::vector<std::string> taken = stepsSoFar();
      const auto last = std::find(taken.begin(), taken.end(), step::kFirstSample);
      steps = static_cast<std::size_t>(last - taken.begin()) + 1;
      continue;
    }
    const std::vector<std::string> taken = stepsSoFar();
    ASSERT_GE(taken.size(), failing);
    EXPECT_EQ(stream.log.count(taken[failing - 1] + " failed (error code -2147467259)"), 1u)
        << failing << ": " << stream.log.text();
    stream.connection.emplace("camera", uvcBackendDefault);
    EXPECT_EQ(camera->objects, failing <= 5 ? 0 : 1) << failing << ": the list has one, if there is a list";
    EXPECT_TRUE(stream.runs()) << failing << ": " << stream.log.text();
  }
  EXPECT_GE(steps, 38u);
}

TEST_F(MediaFoundation, AStreamThatEndsIsLost) {
  refuse(0);
  Connected stream(camera);
  ASSERT_TRUE(stream.runs());
  camera->endOfStream = true;
  const char* const line = "Sample delivery failed (error code -1072873852), camera lost";
  EXPECT_TRUE(waitFor([&] { return stream.log.contains(line); })) << stream.log.text();
  EXPECT_TRUE(stream.connection->stopStreaming());
}

// What the system's reader passes on cannot be made to happen with every reader: its callback alone.
TEST_F(MediaFoundation, TheCallbackTellsWhatTheReaderSays) {
  struct Receiver : transport::SampleReceiver {
    void onSample(std::int32_t status, std::int64_t timestampUs, const transport::Sample* sample) override {
      seen.push_back({status, timestampUs, sample ? sample->bytes.size() : 0});
    }
    std::vector<std::tuple<std::int32_t, std::int64_t, std::size_t>> seen;
  } receiver;
  const mediafoundation::ComPointer<mediafoundation::SampleCallback> callback(
      new mediafoundation::SampleCallback(receiver));
  mediafoundation::ComPointer<IMFSample> sample, empty;
  mediafoundation::ComPointer<IMFMediaBuffer> buffer;
  ASSERT_EQ(MFCreateSample(empty.put()), S_OK);
  ASSERT_EQ(MFCreateSample(sample.put()), S_OK);
  ASSERT_EQ(MFCreateMemoryBuffer(12, buffer.put()), S_OK);
  buffer->SetCurrentLength(12);
  sample->AddBuffer(buffer.get());
  const struct {
    HRESULT status;
    DWORD flags;
    IMFSample* sample;
    std::int32_t seen;
    std::size_t bytes;
  } rows[] = {
      {S_OK, 0, sample.get(), 0, 12},
      {S_OK, 0, empty.get(), 0, 0},
      {S_OK, MF_SOURCE_READERF_STREAMTICK, nullptr, 0, 0},
      {E_FAIL, 0, sample.get(), static_cast<std::int32_t>(E_FAIL), 0},
      {S_OK, MF_SOURCE_READERF_ERROR, nullptr, static_cast<std::int32_t>(E_FAIL), 0},
      {MF_E_VIDEO_RECORDING_DEVICE_INVALIDATED, 0, nullptr, transport::kStatusDeviceLost, 0},
      {static_cast<HRESULT>(0x8007048F), 0, nullptr, transport::kStatusDeviceLost, 0},
  };
  for (const auto& row : rows) {
    callback->OnReadSample(row.status, 0, row.flags, 166667, row.sample);
    EXPECT_EQ(receiver.seen.back(), std::tuple(row.seen, std::int64_t{16666}, row.bytes));
  }
  callback->detach();
  callback->OnReadSample(S_OK, 0, 0, 0, sample.get());
  EXPECT_EQ(receiver.seen.size(), std::size(rows)) << "nobody is called once detached";
}

TEST_F(MediaFoundation, OneSampleMayBeMissing) {
  refuse(0);
  camera->sample.resize(1000);
  Connected stream(camera);
  ASSERT_TRUE(stream.connect());
  ASSERT_TRUE(stream.start());
  EXPECT_TRUE(waitFor([&] { return camera->delivered > 20; })) << "a short sample ends nothing";
  EXPECT_EQ(stream.frameCounter, 0u);
}

TEST_F(MediaFoundation, AFailureIsPostedToTheThread) {
  struct Nobody : transport::SampleReceiver {
    void onSample(std::int32_t, std::int64_t, const transport::Sample*) override {}
  } nobody;
  const auto platform = platformOf({camera});
  std::vector<transport::DeviceRecord> records;
  std::unique_ptr<transport::VideoDevice> device;
  refuse(0);
  ASSERT_FALSE(platform->start().failed());
  ASSERT_FALSE(platform->enumerate(records).failed());
  ASSERT_FALSE(platform->open(0, nobody, device).failed());
  MSG message{};
  PeekMessageW(&message, nullptr, 1, 1, PM_NOREMOVE);  // gives the thread its queue
  SetLastError(0);
  device->postFailure(-5);
  const DWORD error = GetLastError();
  // The number is that of WM_CREATE, which wine, for one, does not let anybody post.
  const bool arrived = PeekMessageW(&message, nullptr, 1, 1, PM_REMOVE);
  EXPECT_TRUE(arrived ? static_cast<std::int32_t>(message.wParam) == -5 : error == ERROR_MESSAGE_SYNC_ONLY)
      << arrived << " " << error;
  device.reset();
  EXPECT_EQ(platform->explain(0, {static_cast<std::int32_t>(E_ACCESSDENIED), step::kActivate}).code,
            "no-permission");
  EXPECT_EQ(platform->explain(0, {transport::kStatusDeviceLost, step::kActivate}).code, "gone");
  platform->stop();
}

TEST_F(MediaFoundation, CamerasThatAreNotAsExpected) {
  const struct {
    std::vector<FakeSource::Type> types;
    DWORD unitNode;
    bool connects;
    const char* line;
  } rows[] = {
      {{{0x3231564E, 320, 240}}, 2, false, "InitializeMediaTypes failed..."},
      {{{0x3231564E, 0, 0}, {0x20363159, 320, 240}}, 2, true, ""},
      {{{0x20363159, 0, 0}}, 2, false, "get frame size failed (error code -1072875802)"},
      {{{0x20363159, 320, 240}}, 0, true, "Unknown extension unit"},
  };
  for (const auto& row : rows) {
    refuse(0);
    camera->types = row.types;
    camera->unitNode = row.unitNode;
    Connected stream(camera);
    EXPECT_EQ(stream.connect(), row.connects) << row.line;
    if (row.connects) {
      EXPECT_EQ(stream.connection->registers().writeCoreConfiguration(0), !*row.line);
    }
    EXPECT_TRUE(!*row.line || stream.log.contains(row.line)) << stream.log.text();
  }
}

TEST_F(MediaFoundation, ClosingLeavesACameraThatHangs) {
  refuse(0);
  Connected stream(camera);
  ASSERT_TRUE(stream.runs()) << stream.log.text();
  camera->shutdownHangs = true;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(stream.connection->stopStreaming());
  stream.connection.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
  EXPECT_TRUE(stream.log.contains("does not answer the end of its stream")) << stream.log.text();

  // Not opened before it has ended: the end would take the new stream with it.
  stream.connection.emplace("camera", uvcBackendDefault);
  const auto opens = [&] { return stream.connection->connectUVC(0x5c2b, 0x96ea, 0, dataTypeThermal); };
  EXPECT_FALSE(opens());
  EXPECT_TRUE(stream.log.contains("Activating video device failed (error code -1072873821)"));
  camera->shutdownHangs = false;
  EXPECT_TRUE(waitFor([&] { return camera->objects == 1; })) << camera->objects;
  EXPECT_TRUE(waitFor(opens)) << stream.log.text();
}
