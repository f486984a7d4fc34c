#include "acquisition/backends/v4l2/V4L2Device.h"

#include <cerrno>
#include <utility>

#include "acquisition/backends/v4l2/errorText.h"
#include "common/format.h"
#include "core/logger.h"

namespace v4l2 {
namespace {

using transport::StepResult;
using transport::StreamType;

// No driver lists as many; one that never ends its list does not hold us up.
constexpr std::uint32_t kMostFormats = 64;
constexpr std::uint32_t kMostSizes = 64;
constexpr std::uint32_t kBytesPerPixel = 2;

}  // namespace

V4L2Device::V4L2Device(VideoNode videoNode, std::shared_ptr<OpenNode> openNode,
                       transport::SampleReceiver& receiver)
    : place(std::move(videoNode)),
      node(std::move(openNode)),
      stream(std::make_shared<SampleStream>(node, receiver)) {}

V4L2Device::~V4L2Device() { close(); }

/// Says in words what a failed step means, since its log line has the number only.
StepResult V4L2Device::explained(std::int32_t status, const char* step) const {
  if (status < 0) logger::error(format("{:s}: {:s}", node->path, errorText(status)), LOG_HERE);
  return {status, step};
}

StepResult V4L2Device::streamTypes(std::vector<StreamType>& found) {
  types.clear();
  found.clear();
  for (std::uint32_t i = 0; i < kMostFormats; ++i) {
    v4l2_fmtdesc format{};
    format.index = i;
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    std::int32_t status = statusOf(node->control(VIDIOC_ENUM_FMT, &format));
    if (status == -EINVAL) break;  // the end of the list
    if (status >= 0) status = listSizes(format.pixelformat);
    if (status < 0) return explained(status, transport::step::kTypeByIndex);
  }
  found = types;
  return {0, transport::step::kTypeByIndex};
}

std::int32_t V4L2Device::listSizes(std::uint32_t fourcc) {
  for (std::uint32_t i = 0; i < kMostSizes; ++i) {
    v4l2_frmsizeenum size{};
    size.index = i;
    size.pixel_format = fourcc;
    const std::int32_t status = statusOf(node->control(VIDIOC_ENUM_FRAMESIZES, &size));
    if (status == -EINVAL || status == -ENOTTY) return 0;
    if (status < 0) return status;
    if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
      types.push_back({fourcc, size.discrete.width, size.discrete.height});
    } else {
      types.push_back({fourcc, size.stepwise.max_width, size.stepwise.max_height});
      return 0;
    }
  }
  return 0;
}

StepResult V4L2Device::selectType(std::size_t index, transport::SelectedType& actual) {
  const std::int32_t status = index < types.size() ? setFormat(types[index], actual) : -EINVAL;
  return explained(status, transport::step::kSetType);
}

std::int32_t V4L2Device::setFormat(const StreamType& wanted, transport::SelectedType& actual) {
  v4l2_format request{};
  request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  auto& picture = request.fmt.pix;
  picture.width = wanted.width;
  picture.height = wanted.height;
  picture.pixelformat = wanted.fourcc;
  picture.field = V4L2_FIELD_NONE;
  const std::int32_t status = statusOf(node->control(VIDIOC_S_FMT, &request));
  if (status < 0) return status;
  // Drivers adjust what they cannot do, without a word.
  const std::uint64_t rowBytes = std::uint64_t{picture.width} * kBytesPerPixel;
  const std::uint64_t pitch = picture.bytesperline == 0 ? rowBytes : picture.bytesperline;
  if (picture.pixelformat != wanted.fourcc || picture.width == 0 || picture.height == 0) return -EINVAL;
  const std::uint64_t frame = pitch * (picture.height - 1) + rowBytes;
  if (pitch < rowBytes || frame > picture.sizeimage) return -EMSGSIZE;
  if (picture.width != wanted.width || picture.height != wanted.height) {
    logger::warning(format("{:s}: the driver made {:d}x{:d} of {:d}x{:d}", node->path, picture.width,
                           picture.height, wanted.width, wanted.height),
                    LOG_HERE);
  }
  actual = {picture.width, picture.height, static_cast<std::uint32_t>(pitch)};
  stream->setFrameBytes(static_cast<std::size_t>(frame));
  return 0;
}

StepResult V4L2Device::requestSample() {
  const std::int32_t status = stream->request();
  if (status == transport::kStatusDeviceLost) return {status, transport::step::kFirstSample};  // told already
  return explained(status, transport::step::kFirstSample);
}

void V4L2Device::beginClose() { stream->beginClose(); }

void V4L2Device::close() { stream->close(); }

void V4L2Device::postFailure(std::int32_t status) {
  logger::warning(format("{:s}: delivery ended: {:s}", node->path, errorText(status)), LOG_HERE);
}

StepResult V4L2Device::topologyNodes(std::vector<transport::TopologyNode>& nodes) {
  nodes.clear();
  // Files of a camera that has gone are merely absent: ask the driver whether it is still there.
  v4l2_capability answer{};
  const std::int32_t status = statusOf(node->control(VIDIOC_QUERYCAP, &answer));
  if (status < 0) return explained(status, transport::step::kNumNodes);
  if (nodeUnits(*node->calls, place, units) < 0) {
    logger::warning(format("{:s}: the camera's USB descriptors cannot be read", node->path), LOG_HERE);
  }
  for (const ExtensionUnit& unit : units) nodes.push_back({unit.unitId, true});
  return {0, transport::step::kNumNodes};
}

StepResult V4L2Device::probeUnit(int nodeId, const transport::Guid& guid) {
  for (const ExtensionUnit& unit : units) {
    if (unit.unitId == nodeId && unit.guid == guid)
      return {transport::kStatusMoreData, transport::step::kNodeProperty};
  }
  return {transport::kStatusSetNotFound, transport::step::kNodeProperty};
}

}  // namespace v4l2
