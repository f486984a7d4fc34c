#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "acquisition/backends/v4l2/V4L2Platform.h"
#include "acquisition/transport/extensionUnit.h"
#include "support/LogCapture.h"
#include "support/v4l2/FakeKernel.h"
#include "support/waitFor.h"

using testing::ElementsAre;
using transport::kCameraUnit;
using transport::kStatusDeviceLost;

namespace {

/// Keeps what arrives, and asks for the next as long as it is told to.
class Recorder : public transport::SampleReceiver {
 public:
  void onSample(std::int32_t status, std::int64_t, const transport::Sample* sample) override {
    {
      MutexLock lock(mutex);
      thread = threadNumber();
      statuses.push_back(status);
      sizes.push_back(sample ? sample->bytes.size() : 0);
      if (sample) last.assign(sample->bytes.begin(), sample->bytes.end());
    }
    if (status >= 0 && device && rearm) device->requestSample();
  }
  std::size_t count() {
    MutexLock lock(mutex);
    return statuses.size();
  }

  bool failed() {
    MutexLock lock(mutex);
    return !statuses.empty() && statuses.back() < 0;
  }

  Mutex mutex;
  std::vector<std::int32_t> statuses;
  std::vector<std::size_t> sizes;
  std::vector<std::uint8_t> last;
  unsigned thread = 0;
  transport::VideoDevice* device = nullptr;
  std::atomic<bool> rearm{true};
};

/// A Bramble 6 in the fake kernel, opened.
struct Rig {
  Rig() : node(kernel->addCamera(0)), platform(kernel) {}
  ~Rig() {
    device.reset();
    EXPECT_EQ(kernel->openDescriptors(), 0u);
    EXPECT_EQ(kernel->mappings(), 0u);
  }
  bool open() {
    std::vector<transport::DeviceRecord> devices;
    platform.enumerate(devices);
    if (platform.open(0, recorder, device).failed()) return false;
    recorder.device = device.get();
    return true;
  }
  /// Opens, selects the second type, and asks for the first sample. The status of the step that failed.
  std::int32_t start() {
    if (!open()) return -1;
    std::vector<transport::StreamType> types;
    const auto listed = device->streamTypes(types);
    if (listed.failed()) return listed.status;
    const auto selected = device->selectType(1, actual);
    if (selected.failed()) return selected.status;
    return device->requestSample().status;
  }

  LogCapture log;
  std::shared_ptr<FakeKernel> kernel = std::make_shared<FakeKernel>();
  FakeNode& node;
  v4l2::V4L2Platform platform;
  Recorder recorder;
  std::unique_ptr<transport::VideoDevice> device;
  transport::SelectedType actual;
};

}  // namespace

TEST(V4L2Device, NegotiatesWhatTheDriverMakes) {
  const struct {
    const char* what;
    FakeFormat made;
    std::uint32_t sizeType;
    std::int32_t status;
    std::uint32_t width, pitch;
  } cases[] = {
      {"as asked", {}, V4L2_FRMSIZE_TYPE_DISCRETE, 0, 640, 1280},
      {"largest of a range", {}, V4L2_FRMSIZE_TYPE_STEPWISE, 0, 640, 1280},
      {"padded rows", {.bytesperline = 1536}, V4L2_FRMSIZE_TYPE_DISCRETE, 0, 640, 1536},
      {"another size", {.width = 320, .height = 240}, V4L2_FRMSIZE_TYPE_DISCRETE, 0, 320, 640},
      {"another format", {.pixelformat = V4L2_PIX_FMT_YUYV}, V4L2_FRMSIZE_TYPE_DISCRETE, -EINVAL, 0, 0},
      {"rows shorter than pixels", {.bytesperline = 1278}, V4L2_FRMSIZE_TYPE_DISCRETE, -EMSGSIZE, 0, 0},
      {"a frame too small", {.sizeimage = 614399}, V4L2_FRMSIZE_TYPE_DISCRETE, -EMSGSIZE, 0, 0},
      {"last row without padding",
       {.bytesperline = 1536, .sizeimage = 479 * 1536 + 1280},
       V4L2_FRMSIZE_TYPE_DISCRETE,
       0,
       640,
       1536},
      {"an absurd width",
       {.width = 0x80000001u, .bytesperline = 2},
       V4L2_FRMSIZE_TYPE_DISCRETE,
       -EMSGSIZE,
       0,
       0},
  };
  for (const auto& c : cases) {
    Rig rig;
    rig.node.made = c.made;
    rig.node.sizeType = c.sizeType;
    ASSERT_TRUE(rig.open());
    std::vector<transport::StreamType> types;
    EXPECT_EQ(rig.device->streamTypes(types).status, 0);
    ASSERT_EQ(types.size(), 2u) << c.what;
    EXPECT_EQ(types[1].fourcc, 0x20363159u);
    EXPECT_EQ(types[1].width, 640u);
    EXPECT_EQ(rig.device->selectType(1, rig.actual).status, c.status) << c.what;
    EXPECT_EQ(rig.actual.width, c.width) << c.what;
    EXPECT_EQ(rig.actual.pitch, c.pitch) << c.what;
    EXPECT_EQ(rig.device->selectType(2, rig.actual).status, -EINVAL);
  }
}

TEST(V4L2Device, SamplesComeOnRequestInTheirBytes) {
  Rig rig;
  rig.recorder.rearm = false;
  ASSERT_EQ(rig.start(), 0);
  rig.kernel->produce(3);
  ASSERT_TRUE(waitFor([&] { return rig.recorder.count() == 1; }));
  EXPECT_EQ(rig.recorder.last.size(), 614400u);
  for (const std::size_t at : {0u, 1u, 614399u})
    EXPECT_EQ(rig.recorder.last[at], static_cast<std::uint8_t>(at * 7)) << at;
  rig.recorder.rearm = true;
  EXPECT_EQ(rig.device->requestSample().status, 0);
  ASSERT_TRUE(waitFor([&] { return rig.recorder.count() == 3; }));
  rig.kernel->produce(20);  // more than there are buffers: each one must go back
  ASSERT_TRUE(waitFor([&] { return rig.recorder.count() == 23; }));

  rig.device->close();
  EXPECT_EQ(rig.kernel->mappings(), 0u);
  rig.kernel->produce(1);
  rig.device->close();
  EXPECT_EQ(rig.recorder.count(), 23u);
  EXPECT_EQ(rig.device->requestSample().status, -EBADF);  // not a promise that nobody keeps
  EXPECT_NE(rig.kernel->streamOffThread, rig.recorder.thread);
  EXPECT_EQ(std::count(rig.kernel->log.begin(), rig.kernel->log.end(), "VIDIOC_STREAMOFF"), 1);
}

TEST(V4L2Device, WhatIsNoPictureIsNoSample) {
  const struct {
    const char* what;
    std::uint32_t flags, bytesUsed;
    std::size_t size;
  } cases[] = {
      {"whole", 0, 0, 614400}, {"marked as broken", V4L2_BUF_FLAG_ERROR, 0, 0},
      {"short", 0, 614399, 0}, {"longer than its buffer", 0, 614402, 0},
      {"one byte", 0, 1, 0},
  };
  for (const auto& c : cases) {
    Rig rig;
    rig.node.bufferFlags = c.flags;
    rig.node.bytesUsed = c.bytesUsed;
    ASSERT_EQ(rig.start(), 0);
    rig.kernel->produce(2);
    ASSERT_TRUE(waitFor([&] { return rig.recorder.count() == 2; })) << c.what;
    rig.device->close();
    EXPECT_THAT(rig.recorder.statuses, ElementsAre(0, 0));
    EXPECT_THAT(rig.recorder.sizes, ElementsAre(c.size, c.size)) << c.what;
  }
}

TEST(V4L2Device, DeliveryErrorsPassOrEndTheStream) {
  const struct {
    const char *what, *call;
    std::deque<int> results;
    bool lost;
    std::int32_t status;
  } cases[] = {
      {"interrupted, nothing yet", "VIDIOC_DQBUF", {-EINTR, -EAGAIN, -EAGAIN, -EAGAIN, -EAGAIN}, false, 0},
      {"two errors on the bus", "VIDIOC_DQBUF", {-EIO, -EIO}, false, 0},
      {"errors apart", "VIDIOC_DQBUF", {-EIO, -EIO, 0, -EIO, -EIO}, false, 0},
      {"three in a row", "VIDIOC_DQBUF", {-EIO, -EIO, -EIO}, true, kStatusDeviceLost},
      {"gone", "VIDIOC_DQBUF", {-ENODEV}, true, kStatusDeviceLost},
      {"the queue was taken away", "VIDIOC_DQBUF", {-EINVAL}, true, -EINVAL},
      {"a buffer goes back in the end", "VIDIOC_QBUF", {0, 0, 0, 0, -EIO, -EIO}, false, 0},
      {"a buffer cannot go back", "VIDIOC_QBUF", {0, 0, 0, 0, -EIO, -EIO, -EIO}, true, kStatusDeviceLost},
      {"a buffer is refused", "VIDIOC_QBUF", {0, 0, 0, 0, -EINVAL}, true, -EINVAL},
  };
  for (const auto& c : cases) {
    Rig rig;
    rig.kernel->errors[c.call] = c.results;
    ASSERT_EQ(rig.start(), 0);
    rig.kernel->produce(4);
    if (c.lost) {
      ASSERT_TRUE(waitFor([&] { return rig.recorder.failed(); })) << c.what;
      EXPECT_EQ(rig.recorder.statuses.back(), c.status) << c.what;
      EXPECT_EQ(rig.device->requestSample().status, kStatusDeviceLost);
    } else {
      ASSERT_TRUE(waitFor([&] { return rig.recorder.count() == 4; })) << c.what;
      EXPECT_THAT(rig.recorder.statuses, ElementsAre(0, 0, 0, 0));
    }
  }
}

TEST(V4L2Device, UnpluggingWhileNothingComesIsNoticed) {
  Rig rig;
  ASSERT_EQ(rig.start(), 0);
  rig.kernel->alwaysErrors["VIDIOC_DQBUF"] = -EAGAIN;  // some drivers only answer the poll
  rig.kernel->unplug();
  ASSERT_TRUE(waitFor([&] { return rig.recorder.count() == 1; }));
  EXPECT_THAT(rig.recorder.statuses, ElementsAre(kStatusDeviceLost));
  rig.device->close();
}

TEST(V4L2Device, ADriverThatLiesStartsNothing) {
  for (const auto lie : {&FakeNode::granted, &FakeNode::bufferBytes}) {
    Rig rig;
    rig.node.*lie = lie == &FakeNode::granted ? 0 : 614398;
    EXPECT_EQ(rig.start(), lie == &FakeNode::granted ? -ENOMEM : -EMSGSIZE);
    EXPECT_EQ(rig.kernel->mappings(), 0u);
  }
  Rig rig;
  rig.node.indexOffset = 7;
  ASSERT_EQ(rig.start(), 0);
  rig.kernel->produce(1);
  ASSERT_TRUE(waitFor([&] { return rig.recorder.count() == 1; }));
  EXPECT_THAT(rig.recorder.statuses, ElementsAre(-EPROTO));
}

TEST(V4L2Transfers, FollowTheControlsLength) {
  Rig rig;
  rig.node.controls[3] = {1, 2, 3, 4, 5};
  rig.node.controls[4] = {};
  ASSERT_TRUE(rig.open());
  std::vector<transport::TopologyNode> nodes;
  EXPECT_EQ(rig.device->topologyNodes(nodes).status, 0);
  ASSERT_EQ(nodes.size(), 1u);
  EXPECT_EQ(nodes[0].id, 2);
  EXPECT_EQ(rig.device->probeUnit(2, kCameraUnit).status, transport::kStatusMoreData);
  EXPECT_EQ(rig.device->probeUnit(3, kCameraUnit).status, transport::kStatusSetNotFound);
  EXPECT_EQ(rig.device->probeUnit(2, {}).status, transport::kStatusSetNotFound);

  const auto transfer = [&](int unit, std::uint32_t selector, transport::TransferFlags flags,
                            std::vector<std::uint8_t>& bytes) {
    return rig.device->transferUnit(unit, kCameraUnit, selector, flags, bytes).status;
  };
  std::vector<std::uint8_t> three{9, 8, 7}, six(6), none, huge(65536), one(1);
  EXPECT_EQ(transfer(2, 3, transport::kTransferSet, three), 0);
  EXPECT_THAT(rig.node.controls[3], ElementsAre(9, 8, 7, 0, 0));
  three = {0, 0, 0};
  EXPECT_EQ(transfer(2, 3, transport::kTransferGet, three), 0);
  EXPECT_THAT(three, ElementsAre(9, 8, 7));
  EXPECT_EQ(std::count(rig.kernel->log.begin(), rig.kernel->log.end(), "UVCIOC_CTRL_QUERY"), 3);

  EXPECT_EQ(transfer(2, 3, transport::kTransferGet, six), -ENOBUFS);
  EXPECT_EQ(transfer(2, 4, transport::kTransferGet, one), -ENOBUFS);  // a control of no length
  EXPECT_EQ(transfer(2, 9, transport::kTransferGet, six), -ENOENT);
  EXPECT_EQ(transfer(1, 3, transport::kTransferGet, three), -ENOENT);
  for (const auto& [unit, selector, bytes] : {std::tuple{0, 3u, &three},
                                              {256, 3u, &three},
                                              {2, 0u, &three},
                                              {2, 256u, &three},
                                              {2, 3u, &none},
                                              {2, 3u, &huge}})
    EXPECT_EQ(transfer(unit, selector, transport::kTransferSet, *bytes), -EINVAL) << unit << ' ' << selector;
}

TEST(V4L2Transfers, ErrorsPassOrAreNamed) {
  const struct {
    std::deque<int> results;
    std::int32_t status;
    const char* text;
  } cases[] = {
      {{-EINTR, -EINTR, -EINTR, -EINTR, -EINTR}, 0, nullptr},
      {{-EIO, -EAGAIN, -EBUSY}, 0, nullptr},
      {{-EIO, -EIO, -EIO, -EIO}, -EIO, "error on the bus"},
      {{-EBUSY, -EBUSY, -EBUSY, -EBUSY}, -EBUSY, "not ready"},
      {{-EAGAIN, -EAGAIN, -EAGAIN, -EAGAIN}, -EAGAIN, "not ready"},
      {{-EPIPE}, -EPIPE, "unit 2, control 5, 16 bytes: stalled by the camera"},
      {{-EILSEQ}, -EILSEQ, "wrong state"},
      {{-EREMOTE}, -EREMOTE, "power"},
      {{-ERANGE}, -ERANGE, "out of range"},
      {{-EINVAL}, -EINVAL, "stalled by the camera, or refused"},
      {{-EBADRQC}, -EBADRQC, "not allowed by the control"},
      {{-ENOTTY}, -ENOTTY, "no USB camera's"},
      {{-ETIMEDOUT}, -ETIMEDOUT, "no answer from the camera"},
      {{-ENODEV}, kStatusDeviceLost, nullptr},
  };
  for (const auto& c : cases) {
    for (const bool known : {false, true}) {  // the length is asked first, or the transfer itself fails
      Rig rig;
      ASSERT_TRUE(rig.open());
      std::vector<std::uint8_t> block(16);
      const auto transfer = [&] {
        return rig.device->transferUnit(2, kCameraUnit, 5, transport::kTransferGet, block).status;
      };
      if (known) {
        EXPECT_EQ(transfer(), 0);
      }
      rig.kernel->errors["UVCIOC_CTRL_QUERY"] = c.results;
      EXPECT_EQ(transfer(), c.status);
      EXPECT_EQ(rig.log.lines().size(), c.text ? 1u : 0u) << rig.log.text();
      if (c.text) {
        EXPECT_TRUE(rig.log.contains(c.text)) << c.text;
      }
      EXPECT_LE(std::count(rig.kernel->log.begin(), rig.kernel->log.end(), "sleepFor"), 3);
      if (c.status != kStatusDeviceLost) {
        EXPECT_EQ(transfer(), 0);
      }
    }
  }
}
