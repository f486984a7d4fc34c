#include "acquisition/backends/v4l2/LoopbackOutput.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "acquisition/backends/v4l2/errorText.h"
#include "common/format.h"
#include "core/logger.h"

namespace v4l2 {
namespace {

constexpr std::uint32_t kBuffers = 4;
constexpr std::uint32_t kPixelBytes = 4;
constexpr std::uint32_t kLargestFrame = 256u << 20;  // no driver pads a picture to more
constexpr std::uint8_t kOpaque = 255;

/// The driver has no room at the moment: the frame is left out.
bool isFull(std::int32_t status) { return status == -EAGAIN || status == -EINTR; }

}  // namespace

LoopbackOutput::LoopbackOutput(std::shared_ptr<OpenNode> openNode) : node(std::move(openNode)) {}

LoopbackOutput::~LoopbackOutput() { closeOutput(); }

bool LoopbackOutput::prepare(std::uint32_t width, std::uint32_t height, std::string& reason) {
  v4l2_capability answer{};
  std::int32_t status = statusOf(node->control(VIDIOC_QUERYCAP, &answer));
  const std::uint32_t abilities = nodeCapabilities(answer);
  if (status >= 0 && (abilities & V4L2_CAP_VIDEO_OUTPUT) == 0) {
    reason = "it is no video output";
    return false;
  }
  if (status >= 0 && !setFormat(width, height, reason)) return false;
  if (status >= 0) {
    buffers = std::make_unique<MappedBuffers>(node, V4L2_BUF_TYPE_VIDEO_OUTPUT);
    status = (abilities & V4L2_CAP_STREAMING) != 0 ? buffers->allocate(kBuffers, frameBytes) : -ENOTTY;
    const bool notOffered = status == -ENOTTY || status == -EINVAL;
    if (notOffered && (abilities & V4L2_CAP_READWRITE) != 0) {
      buffers.reset();
      staging.resize(frameBytes);
      status = 0;
    }
  }
  if (status < 0) reason = errorText(status);
  return status >= 0;
}

bool LoopbackOutput::setFormat(std::uint32_t width, std::uint32_t height, std::string& reason) {
  v4l2_format request{};
  request.type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
  auto& picture = request.fmt.pix;
  picture.width = width;
  picture.height = height;
  picture.pixelformat = V4L2_PIX_FMT_RGB32;
  picture.field = V4L2_FIELD_NONE;
  picture.colorspace = V4L2_COLORSPACE_SRGB;
  const std::int32_t status = statusOf(node->control(VIDIOC_S_FMT, &request));
  if (status < 0) {
    reason = errorText(status);
    return false;
  }
  const std::size_t rowBytes = std::size_t{width} * kPixelBytes;
  pitch = picture.bytesperline == 0 ? rowBytes : picture.bytesperline;
  frameBytes = pitch * height;
  pictureWidth = width;
  pictureHeight = height;
  if (picture.pixelformat != V4L2_PIX_FMT_RGB32 || picture.width != width || picture.height != height ||
      pitch < rowBytes || picture.sizeimage < frameBytes || picture.sizeimage > kLargestFrame) {
    reason = format("it does not take {:d}x{:d} in V4L2_PIX_FMT_RGB32", width, height);
    return false;
  }
  frameBytes = picture.sizeimage;
  return true;
}

void LoopbackOutput::show(ImageView<const rgb_24b> picture) {
  if (!node || picture.width != pictureWidth || picture.height != pictureHeight) return;
  const std::int32_t status = buffers ? showMapped(picture) : showWritten(picture);
  if (status >= 0 || isFull(status)) return;
  logger::warning(format("v4l2 loopback {:s} closed: {:s}", node->path, errorText(status)), LOG_HERE);
  closeOutput();
}

std::int32_t LoopbackOutput::showMapped(ImageView<const rgb_24b> picture) {
  std::uint32_t index = 0;
  std::int32_t status = freeBuffer(index);
  if (status < 0) return status;
  fill(picture, buffers->bytes(index));
  status = buffers->queue(index, frameBytes);
  if (status >= 0 && !streaming) {
    status = buffers->streamOn();
    streaming = status >= 0;
  }
  return status;
}

std::int32_t LoopbackOutput::freeBuffer(std::uint32_t& index) {
  if (unused < buffers->count()) {
    index = unused++;
    return 0;
  }
  v4l2_buffer buffer;
  const std::int32_t status = buffers->dequeue(buffer);
  index = buffer.index;
  return status;
}

std::int32_t LoopbackOutput::showWritten(ImageView<const rgb_24b> picture) {
  fill(picture, staging);
  const std::int64_t written = node->calls->writeBytes(node->descriptor, staging);
  return written < 0 ? statusOf(static_cast<int>(written)) : 0;
}

void LoopbackOutput::fill(ImageView<const rgb_24b> picture, std::span<std::uint8_t> bytes) const {
  for (std::uint32_t row = 0; row < pictureHeight; ++row) {
    const rgb_24b* const source = picture.row(row);
    std::uint8_t* target = bytes.data() + row * pitch;
    for (std::uint32_t column = 0; column < pictureWidth; ++column, target += kPixelBytes) {
      target[0] = kOpaque;
      target[1] = source[column].r;
      target[2] = source[column].g;
      target[3] = source[column].b;
    }
  }
}

void LoopbackOutput::closeOutput() {
  if (buffers) buffers->release();
  buffers.reset();
  node.reset();
}

std::unique_ptr<LoopbackOutput> openLoopback(const std::shared_ptr<SystemCalls>& calls,
                                             const std::string& path, std::uint32_t width,
                                             std::uint32_t height, std::string& reason) {
  auto node = std::make_shared<OpenNode>(calls, path);
  if (node->descriptor < 0) {
    reason = errorText(statusOf(node->descriptor));
    return nullptr;
  }
  auto output = std::make_unique<LoopbackOutput>(std::move(node));
  if (!output->prepare(width, height, reason)) return nullptr;
  return output;
}

}  // namespace v4l2
