#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "acquisition/backends/v4l2/LoopbackOutput.h"
#include "common/image.h"
#include "support/LogCapture.h"
#include "support/v4l2/FakeKernel.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::uint32_t kOutput = V4L2_CAP_VIDEO_OUTPUT;

/// An output node, and a picture of 3 x 2 that starts with the level given.
struct Screen {
  Screen() : node(kernel->addNode(9, "output")) {
    node.capabilities = kOutput | V4L2_CAP_STREAMING;
    v4l2::setSystemCallsForTesting(kernel);
    picture.allocate(3, 2);
  }
  ~Screen() {
    output.reset();
    v4l2::setSystemCallsForTesting(nullptr);
    EXPECT_EQ(kernel->openDescriptors(), 0u);
    EXPECT_EQ(kernel->mappings(), 0u);
  }
  bool open() {
    output = transport::openViewerOutput("/dev/video9", 3, 2);
    return output != nullptr;
  }
  void show(std::uint8_t level) {
    for (auto& pixel : picture.view().pixels()) pixel = {level++, level++, level++};
    output->show(picture.view());
  }

  LogCapture log;
  std::shared_ptr<FakeKernel> kernel = std::make_shared<FakeKernel>();
  FakeNode& node;
  image<rgb_24b> picture;
  std::unique_ptr<transport::ViewerOutput> output;
};

}  // namespace

TEST(V4L2Loopback, FramesGoOutThroughMappedBuffers) {
  Screen screen;
  screen.node.made.bytesperline = 16;
  ASSERT_TRUE(screen.open());
  for (int i = 0; i < 6; ++i) screen.show(static_cast<std::uint8_t>(10 * i));
  ASSERT_EQ(screen.kernel->shown.size(), 6u);
  EXPECT_THAT(screen.kernel->shown[5],
              ElementsAre(255, 50, 51, 52, 255, 53, 54, 55, 255, 56, 57, 58, 0, 0, 0, 0,  //
                          255, 59, 60, 61, 255, 62, 63, 64, 255, 65, 66, 67, 0, 0, 0, 0));
  screen.kernel->holdBack = 4;  // the viewer takes nothing: frames are left out, silently
  for (int i = 0; i < 3; ++i) screen.show(0);
  EXPECT_EQ(screen.kernel->shown.size(), 6u);
  screen.kernel->holdBack = 3;
  screen.show(0);
  EXPECT_EQ(screen.kernel->shown.size(), 7u);
  EXPECT_THAT(screen.log.lines(), ElementsAre());
}

TEST(V4L2Loopback, WritesWhereNothingElseIsOffered) {
  for (const bool streamingOffered : {false, true}) {
    Screen screen;
    screen.node.capabilities = kOutput | V4L2_CAP_READWRITE | (streamingOffered ? V4L2_CAP_STREAMING : 0);
    screen.kernel->alwaysErrors["VIDIOC_REQBUFS"] = -EINVAL;
    ASSERT_TRUE(screen.open());
    screen.kernel->errors["writeBytes"] = {0, -EAGAIN, 0};
    for (const int level : {1, 2, 3}) screen.show(static_cast<std::uint8_t>(level));
    ASSERT_EQ(screen.kernel->shown.size(), 2u);
    EXPECT_EQ(screen.kernel->shown[1][1], 3);
    EXPECT_EQ(screen.kernel->shown[1].size(), 24u);
    EXPECT_THAT(screen.log.lines(), ElementsAre());
  }
}

TEST(V4L2Loopback, WhatCannotBeOpenedIsOneWarning) {
  const struct {
    const char *call, *text;
    int error;
    std::uint32_t capabilities;
    FakeFormat made;
  } cases[] = {
      {"", "it is no video output", 0, V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING, {}},
      {"", "not offered by the driver", 0, kOutput, {}},
      {"", "does not take 3x2 in V4L2_PIX_FMT_RGB32", 0, kOutput | V4L2_CAP_STREAMING, {.width = 4}},
      {"", "does not take", 0, kOutput | V4L2_CAP_STREAMING, {.pixelformat = V4L2_PIX_FMT_YUYV}},
      {"", "does not take", 0, kOutput | V4L2_CAP_STREAMING, {.bytesperline = 11}},
      {"", "does not take", 0, kOutput | V4L2_CAP_STREAMING, {.sizeimage = 23}},
      {"", "does not take", 0, kOutput | V4L2_CAP_READWRITE, {.sizeimage = 0xFFFFFFFF}},
      {"openNode", "there is no such device node", -ENOENT, kOutput, {}},
      {"openNode", "permission denied", -EACCES, kOutput, {}},
      {"VIDIOC_QUERYCAP", "not offered by the driver", -ENOTTY, kOutput, {}},
      {"VIDIOC_S_FMT", "in use by another program", -EBUSY, kOutput | V4L2_CAP_STREAMING, {}},
      {"VIDIOC_REQBUFS", "in use", -EBUSY, kOutput | V4L2_CAP_STREAMING | V4L2_CAP_READWRITE, {}},
      {"map", "out of memory", -ENOMEM, kOutput | V4L2_CAP_STREAMING, {}},
  };
  for (const auto& c : cases) {
    Screen screen;
    screen.node.capabilities = c.capabilities;
    screen.node.made = c.made;
    screen.kernel->errors[c.call] = {c.error};
    EXPECT_FALSE(screen.open()) << c.text;
    ASSERT_EQ(screen.log.lines().size(), 1u) << c.text;
    EXPECT_THAT(screen.log.lines()[0], HasSubstr(std::string("v4l2 loopback /dev/video9 not opened: ")));
    EXPECT_THAT(screen.log.lines()[0], HasSubstr(c.text));
  }
}

TEST(V4L2Loopback, ALaterErrorClosesItOnce) {
  for (const char* call : {"VIDIOC_QBUF", "VIDIOC_STREAMON", "VIDIOC_DQBUF"}) {
    Screen screen;
    ASSERT_TRUE(screen.open());
    screen.kernel->errors[call] = {-EIO};
    for (int i = 0; i < 8; ++i) screen.show(0);
    EXPECT_THAT(screen.log.lines(),
                ElementsAre(HasSubstr("v4l2 loopback /dev/video9 closed: input or output error on the bus")));
    EXPECT_EQ(screen.kernel->openDescriptors(), 0u) << call;
    EXPECT_EQ(screen.kernel->mappings(), 0u);
  }
}
