#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "acquisition/backends/v4l2/OpenNode.h"
#include "acquisition/backends/v4l2/SampleStream.h"
#include "acquisition/backends/v4l2/videoNodes.h"
#include "acquisition/transport/videoPlatform.h"
#include "common/mutex.h"

namespace v4l2 {

/// One opened camera behind a video node.
class V4L2Device : public transport::VideoDevice {
 public:
  V4L2Device(VideoNode place, std::shared_ptr<OpenNode> node, transport::SampleReceiver& receiver);
  ~V4L2Device() override;

  transport::StepResult streamTypes(std::vector<transport::StreamType>& types) override;
  transport::StepResult selectType(std::size_t index, transport::SelectedType& actual) override;
  transport::StepResult requestSample() override;
  void beginClose() override;
  void close() override;
  void postFailure(std::int32_t status) override;
  transport::StepResult topologyNodes(std::vector<transport::TopologyNode>& nodes) override;
  transport::StepResult probeUnit(int node, const transport::Guid& unit) override;
  /// The driver wants every transfer to have the control's own length: shorter writes are padded with zeros,
  /// of longer answers the beginning is taken, and what exceeds the control is refused.
  transport::StepResult transferUnit(int node, const transport::Guid& unit, std::uint32_t selector,
                                     transport::TransferFlags flags, std::span<std::uint8_t> bytes) override;

 private:
  std::int32_t listSizes(std::uint32_t fourcc);
  std::int32_t setFormat(const transport::StreamType& wanted, transport::SelectedType& actual);
  std::int32_t controlLength(std::uint8_t unit, std::uint8_t selector, std::size_t& length)
      EXCLUDES(lengthMutex);
  std::int32_t query(std::uint8_t unit, std::uint8_t selector, std::uint8_t request,
                     std::span<std::uint8_t> bytes);
  std::int32_t transfer(std::uint8_t unit, std::uint8_t selector, transport::TransferFlags flags,
                        std::span<std::uint8_t> bytes);
  transport::StepResult explained(std::int32_t status, const char* step) const;

  const VideoNode place;
  const std::shared_ptr<OpenNode> node;
  const std::shared_ptr<SampleStream> stream;
  // Of the connecting thread, before others know of the device.
  std::vector<transport::StreamType> types;
  std::vector<ExtensionUnit> units;

  Mutex lengthMutex{LockRank::controlLengths};
  std::map<std::pair<std::uint8_t, std::uint8_t>, std::size_t> lengths
      GUARDED_BY(lengthMutex);  ///< of the controls asked so far, by unit and selector
};

}  // namespace v4l2
