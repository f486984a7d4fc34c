#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/backends/v4l2/MappedBuffers.h"
#include "acquisition/backends/v4l2/OpenNode.h"
#include "acquisition/transport/viewerOutput.h"

namespace v4l2 {

/// Colour frames on a video output node, as 32-bit pixels of the bytes 255, red, green, blue: through mapped
/// buffers, or written on nodes that offer only that.
class LoopbackOutput : public transport::ViewerOutput {
 public:
  explicit LoopbackOutput(std::shared_ptr<OpenNode> openNode);
  ~LoopbackOutput() override;

  /// Sets the format and gets the buffers. Otherwise false, and why.
  bool prepare(std::uint32_t width, std::uint32_t height, std::string& reason);
  void show(ImageView<const rgb_24b> picture) override;

 private:
  bool setFormat(std::uint32_t width, std::uint32_t height, std::string& reason);
  std::int32_t showMapped(ImageView<const rgb_24b> picture);
  std::int32_t showWritten(ImageView<const rgb_24b> picture);
  std::int32_t freeBuffer(std::uint32_t& index);
  void fill(ImageView<const rgb_24b> picture, std::span<std::uint8_t> bytes) const;
  void closeOutput();

  std::shared_ptr<OpenNode> node;  ///< null once an error has closed it
  std::unique_ptr<MappedBuffers> buffers;
  std::uint32_t unused = 0;  ///< buffers from this one on were never queued
  bool streaming = false;
  std::uint32_t pictureWidth = 0;
  std::uint32_t pictureHeight = 0;
  std::size_t pitch = 0;
  std::size_t frameBytes = 0;
  std::vector<std::uint8_t> staging;  ///< the frame to write, on nodes without mapped buffers
};

/// Opens the node and prepares it. Null, and why, when it cannot show such pictures.
std::unique_ptr<LoopbackOutput> openLoopback(const std::shared_ptr<SystemCalls>& calls,
                                             const std::string& path, std::uint32_t width,
                                             std::uint32_t height, std::string& reason);

}  // namespace v4l2
