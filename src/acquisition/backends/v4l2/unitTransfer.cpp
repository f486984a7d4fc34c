// Register transfers of V4L2Device: the kernel's query of an extension unit.

#include <linux/usb/video.h>
#include <linux/uvcvideo.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <vector>

#include "acquisition/backends/v4l2/V4L2Device.h"
#include "acquisition/backends/v4l2/errorText.h"
#include "common/format.h"
#include "core/logger.h"

namespace v4l2 {
namespace {

constexpr std::size_t kMostTransferBytes = 65535;
constexpr int kRetries = 3;
constexpr auto kRetryPause = std::chrono::milliseconds(10);

bool mayPass(std::int32_t status) { return status == -EIO || status == -EAGAIN || status == -EBUSY; }

}  // namespace

transport::StepResult V4L2Device::transferUnit(int nodeId, const transport::Guid&, std::uint32_t selector,
                                               transport::TransferFlags flags,
                                               std::span<std::uint8_t> bytes) {
  const bool addressable = nodeId > 0 && nodeId <= 255 && selector > 0 && selector <= 255;
  std::int32_t status = -EINVAL;
  if (addressable && !bytes.empty() && bytes.size() <= kMostTransferBytes)
    status = transfer(static_cast<std::uint8_t>(nodeId), static_cast<std::uint8_t>(selector), flags, bytes);
  if (status < 0 && status != transport::kStatusDeviceLost) {
    logger::warning(format("{:s}: unit {:d}, control {:d}, {:d} bytes: {:s}", node->path, nodeId, selector,
                           bytes.size(), transferErrorText(status)),
                    LOG_HERE);
  }
  return {status, transport::step::kTransfer};
}

std::int32_t V4L2Device::transfer(std::uint8_t unit, std::uint8_t selector, transport::TransferFlags flags,
                                  std::span<std::uint8_t> bytes) {
  std::size_t length = 0;
  std::int32_t status = controlLength(unit, selector, length);
  if (status < 0) return status;
  if (bytes.size() > length) return -ENOBUFS;
  std::vector<std::uint8_t> block(length);
  if (flags == transport::kTransferSet) {
    std::copy(bytes.begin(), bytes.end(), block.begin());
    return query(unit, selector, UVC_SET_CUR, block);
  }
  status = query(unit, selector, UVC_GET_CUR, block);
  if (status >= 0) std::copy_n(block.begin(), bytes.size(), bytes.begin());
  return status;
}

/// The control's length, asked of the camera once.
std::int32_t V4L2Device::controlLength(std::uint8_t unit, std::uint8_t selector, std::size_t& length) {
  MutexLock lock(lengthMutex);
  const auto known = lengths.find({unit, selector});
  if (known != lengths.end()) {
    length = known->second;
    return 0;
  }
  std::uint8_t answer[2] = {};
  const std::int32_t status = query(unit, selector, UVC_GET_LEN, answer);
  if (status < 0) return status;
  length = static_cast<std::size_t>(answer[0] | answer[1] << 8);
  lengths[{unit, selector}] = length;
  return 0;
}

std::int32_t V4L2Device::query(std::uint8_t unit, std::uint8_t selector, std::uint8_t request,
                               std::span<std::uint8_t> bytes) {
  uvc_xu_control_query query{};
  query.unit = unit;
  query.selector = selector;
  query.query = request;
  query.size = static_cast<std::uint16_t>(bytes.size());
  query.data = bytes.data();
  std::int32_t status = 0;
  for (int attempt = 0;; ++attempt) {
    status = statusOf(node->control(UVCIOC_CTRL_QUERY, &query));
    if (attempt == kRetries || !mayPass(status)) return status;
    node->calls->sleepFor(kRetryPause);
  }
}

}  // namespace v4l2
