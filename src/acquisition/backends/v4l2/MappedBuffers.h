#pragma once

#include <linux/videodev2.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "acquisition/backends/v4l2/OpenNode.h"

namespace v4l2 {

/// The driver's buffers of one direction, mapped into memory, and the stream over them. Not locked: its owner
/// sees to one caller at a time. All results are 0 or a negative status.
class MappedBuffers {
 public:
  /// type: V4L2_BUF_TYPE_VIDEO_CAPTURE or V4L2_BUF_TYPE_VIDEO_OUTPUT.
  MappedBuffers(std::shared_ptr<OpenNode> node, v4l2_buf_type type);
  /// Unmaps only: closing the node ends the stream and frees the driver's side.
  ~MappedBuffers();
  MappedBuffers(const MappedBuffers&) = delete;
  MappedBuffers& operator=(const MappedBuffers&) = delete;

  /// Asks for `wanted` buffers of at least `smallestBytes` and maps what the driver grants. A failure gives
  /// everything back.
  std::int32_t allocate(std::uint32_t wanted, std::size_t smallestBytes);
  std::int32_t streamOn();
  /// Hands a buffer to the driver. bytesUsed: filled bytes (output).
  std::int32_t queue(std::uint32_t index, std::size_t bytesUsed = 0);
  /// Takes a finished buffer back; -EAGAIN when there is none. An index that was never granted is -EPROTO.
  std::int32_t dequeue(v4l2_buffer& buffer);
  /// Ends the stream, unmaps and returns the buffers. Failures are those of a device that is gone, and
  /// ignored.
  void release();

  std::size_t count() const { return buffers.size(); }
  std::span<std::uint8_t> bytes(std::uint32_t index) const { return buffers[index]; }

 private:
  std::int32_t mapBuffer(std::uint32_t index, std::size_t smallestBytes);
  void unmapAll();

  const std::shared_ptr<OpenNode> node;
  const v4l2_buf_type type;
  std::vector<std::span<std::uint8_t>> buffers;
  bool streaming = false;
};

}  // namespace v4l2
