#include "acquisition/backends/v4l2/errorText.h"

#include <cerrno>
#include <span>

#include "acquisition/transport/videoPlatform.h"
#include "common/format.h"

namespace v4l2 {
namespace {

struct Row {
  int error;
  const char* text;
};

constexpr Row kRows[] = {
    {EACCES, "permission denied"},
    {EPERM, "permission denied"},
    {EBUSY, "in use by another program"},
    {EAGAIN, "not ready, try again"},
    {EBADF, "already closed"},
    {ENODEV, "the camera is gone"},
    {ENOENT, "there is no such device node"},
    {ENOSPC, "not enough bandwidth left on this USB bus"},
    {EINVAL, "refused by the driver"},
    {ENOTTY, "not offered by the driver"},
    {EIO, "input or output error on the bus"},
    {EPROTO, "protocol error on the bus"},
    {EPIPE, "refused by the camera"},
    {ETIMEDOUT, "no answer from the camera"},
    {ENOMEM, "out of memory"},
    {ENOBUFS, "out of buffers"},
    {EMFILE, "too many open files"},
    {ENFILE, "too many open files"},
    {EMSGSIZE, "the size of the driver's frame is impossible"},
};

/// A request that the camera stalls comes back as one of several values, by the reason it gives.
constexpr Row kTransferRows[] = {
    {ENOENT, "unknown to the driver: the camera declares no such unit or control"},
    {ENOBUFS, "the size is not the control's"},
    {EBADRQC, "not allowed by the control"},
    {EPIPE, "stalled by the camera"},
    {EBUSY, "stalled by the camera: not ready"},
    {EILSEQ, "stalled by the camera: wrong state"},
    {EREMOTE, "stalled by the camera: power"},
    {ERANGE, "stalled by the camera: out of range"},
    {EINVAL, "stalled by the camera, or refused by the driver"},
    {ENOTTY, "the device node is no USB camera's"},
};

const char* find(std::span<const Row> rows, std::int32_t status) {
  for (const Row& row : rows) {
    if (row.error == -status) return row.text;
  }
  return nullptr;
}

}  // namespace

std::int32_t statusOf(int result) {
  const bool gone = result == -ENODEV || result == -ENXIO || result == -ESHUTDOWN;
  return gone ? transport::kStatusDeviceLost : result;
}

std::string errorText(std::int32_t status) {
  const char* const text = find(kRows, status);
  return text ? text : format("error {:d}", -status);
}

std::string transferErrorText(std::int32_t status) {
  const char* const text = find(kTransferRows, status);
  return text ? text : errorText(status);
}

std::string permissionRemedy(SystemCalls& calls, const std::string& node) {
  NodeOwner owner;
  if (calls.nodeOwner(node, owner) < 0)
    return "install the udev rule 70-ombrix.rules and plug the camera in again";
  return format(
      "owner {:s}, group {:s}, mode {:04o}; install the udev rule 70-ombrix.rules and plug the camera in "
      "again, or join the group: sudo usermod -aG {:s} $USER, then log in again",
      owner.user, owner.group, owner.mode, owner.group);
}

}  // namespace v4l2
