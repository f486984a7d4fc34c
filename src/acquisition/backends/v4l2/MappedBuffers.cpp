#include "acquisition/backends/v4l2/MappedBuffers.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "acquisition/backends/v4l2/errorText.h"

namespace v4l2 {
namespace {

constexpr std::uint32_t kMostBuffers = 32;  // what the kernel grants at most

}  // namespace

MappedBuffers::MappedBuffers(std::shared_ptr<OpenNode> openNode, v4l2_buf_type bufferType)
    : node(std::move(openNode)), type(bufferType) {}

MappedBuffers::~MappedBuffers() { unmapAll(); }

std::int32_t MappedBuffers::allocate(std::uint32_t wanted, std::size_t smallestBytes) {
  v4l2_requestbuffers request{};
  request.count = wanted;
  request.type = type;
  request.memory = V4L2_MEMORY_MMAP;
  std::int32_t status = statusOf(node->control(VIDIOC_REQBUFS, &request));
  if (status < 0) return status;
  if (request.count == 0) status = -ENOMEM;
  const std::uint32_t granted = std::min(request.count, kMostBuffers);
  buffers.reserve(granted);  // a mapping that finds no place here would never be undone
  for (std::uint32_t i = 0; i < granted && status >= 0; ++i) status = mapBuffer(i, smallestBytes);
  if (status < 0) release();
  return status;
}

std::int32_t MappedBuffers::mapBuffer(std::uint32_t index, std::size_t smallestBytes) {
  v4l2_buffer buffer{};
  buffer.index = index;
  buffer.type = type;
  buffer.memory = V4L2_MEMORY_MMAP;
  const std::int32_t status = statusOf(node->control(VIDIOC_QUERYBUF, &buffer));
  if (status < 0) return status;
  if (buffer.length == 0 || buffer.length < smallestBytes) return -EMSGSIZE;
  void* address = nullptr;
  const int mapped = node->calls->map(node->descriptor, buffer.length, buffer.m.offset, address);
  if (mapped < 0) return statusOf(mapped);
  buffers.emplace_back(static_cast<std::uint8_t*>(address), buffer.length);
  return 0;
}

std::int32_t MappedBuffers::streamOn() {
  int streamType = static_cast<int>(type);
  const std::int32_t status = statusOf(node->control(VIDIOC_STREAMON, &streamType));
  streaming = status >= 0;
  return status;
}

std::int32_t MappedBuffers::queue(std::uint32_t index, std::size_t bytesUsed) {
  v4l2_buffer buffer{};
  buffer.index = index;
  buffer.type = type;
  buffer.memory = V4L2_MEMORY_MMAP;
  buffer.field = V4L2_FIELD_NONE;
  buffer.bytesused = static_cast<std::uint32_t>(bytesUsed);
  return statusOf(node->control(VIDIOC_QBUF, &buffer));
}

std::int32_t MappedBuffers::dequeue(v4l2_buffer& buffer) {
  buffer = {};
  buffer.type = type;
  buffer.memory = V4L2_MEMORY_MMAP;
  const std::int32_t status = statusOf(node->control(VIDIOC_DQBUF, &buffer));
  if (status >= 0 && buffer.index >= buffers.size()) return -EPROTO;
  return status;
}

void MappedBuffers::release() {
  int streamType = static_cast<int>(type);
  if (std::exchange(streaming, false)) node->control(VIDIOC_STREAMOFF, &streamType);
  unmapAll();
  v4l2_requestbuffers request{};  // a count of 0 frees them
  request.type = type;
  request.memory = V4L2_MEMORY_MMAP;
  node->control(VIDIOC_REQBUFS, &request);
}

void MappedBuffers::unmapAll() {
  for (const auto& buffer : buffers) node->calls->unmap(buffer.data(), buffer.size());
  buffers.clear();
}

}  // namespace v4l2
