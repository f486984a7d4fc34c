#include "acquisition/backends/v4l2/diagnosis.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <string_view>

#include "acquisition/backends/v4l2/errorText.h"
#include "acquisition/backends/v4l2/videoNodes.h"
#include "acquisition/transport/deviceList.h"
#include "common/format.h"

namespace v4l2 {
namespace {

using transport::Obstacle;

constexpr const char* kLookIntoLog = "plug the camera in again; the kernel's log (sudo dmesg) tells why";

std::vector<std::string> sortedNames(SystemCalls& calls, const std::string& path) {
  std::vector<std::string> names;
  calls.listDirectory(path, names);
  std::sort(names.begin(), names.end());
  return names;
}

/// The model of a USB device, empty when it is no supported camera.
std::string modelOf(SystemCalls& calls, const std::string& device) {
  const auto vendor = numberInFile(calls, device + "/idVendor", 16, 4);
  const auto product = numberInFile(calls, device + "/idProduct", 16, 4);
  if (!vendor || !product) return {};
  return transport::describePath(format("vid_{:04x}&pid_{:04x}", *vendor, *product)).modelName;
}

/// The video nodes of all interfaces of a USB device.
std::vector<std::string> nodesOf(SystemCalls& calls, const std::vector<std::string>& entries,
                                 const std::string& device) {
  std::vector<std::string> nodes;
  for (const std::string& entry : entries) {
    if (!entry.starts_with(device + ":")) continue;
    const auto found = sortedNames(calls, calls.sysRoot + "/bus/usb/devices/" + entry + "/video4linux");
    nodes.insert(nodes.end(), found.begin(), found.end());
  }
  return nodes;
}

std::optional<Obstacle> obstacleOf(SystemCalls& calls, const std::string& camera,
                                   const std::vector<std::string>& nodes) {
  if (nodes.empty()) {
    std::vector<std::string> module;
    if (calls.listDirectory(calls.sysRoot + "/module/uvcvideo", module) < 0)
      return Obstacle{"no-module", camera + ": the kernel's USB video driver is not loaded",
                      "sudo modprobe uvcvideo"};
    return Obstacle{"no-driver", camera + ": the kernel's USB video driver has not taken the camera",
                    kLookIntoLog};
  }
  Obstacle obstacle{"failed", camera + ": none of its video nodes delivers pictures", kLookIntoLog};
  for (const std::string& name : nodes) {
    const auto node = videoNode(calls, name);
    const int status = node ? captureStatus(calls, *node) : kOtherNode;
    if (status == 0) return {};  // it is listed
    if (status == kOtherNode) continue;
    if (status == -ENOENT) {
      obstacle = {"no-node", format("{:s}: there is no {:s}", camera, node->devicePath),
                  "in a container, pass the device node in; otherwise see whether udev is running"};
    } else {
      obstacle = explainFailure(calls, node->devicePath, {statusOf(status), transport::step::kEnumerate});
      obstacle.text = camera + ": " + obstacle.text;
      if (obstacle.remedy.empty()) obstacle.remedy = kLookIntoLog;
    }
  }
  return obstacle;
}

bool isProcess(const std::string& name) {
  return !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
}

bool holds(SystemCalls& calls, const std::string& process, const std::string& node) {
  const std::string folder = calls.procRoot + "/" + process + "/fd";
  for (const std::string& descriptor : sortedNames(calls, folder)) {
    std::string target;
    if (calls.readLink(folder + "/" + descriptor, target) >= 0 && target == node) return true;
  }
  return false;
}

}  // namespace

std::vector<Obstacle> camerasWithoutNode(SystemCalls& calls) {
  const std::string folder = calls.sysRoot + "/bus/usb/devices";
  const auto entries = sortedNames(calls, folder);
  std::vector<Obstacle> obstacles;
  for (const std::string& device : entries) {
    const std::string model = modelOf(calls, folder + "/" + device);
    if (model.empty()) continue;
    const std::string camera = format("{:s} at USB {:s}", model, device);
    if (auto obstacle = obstacleOf(calls, camera, nodesOf(calls, entries, device)))
      obstacles.push_back(std::move(*obstacle));
  }
  return obstacles;
}

std::string holders(SystemCalls& calls, const std::string& node) {
  std::string self;
  calls.readLink(calls.procRoot + "/self", self);
  std::string text;
  for (const std::string& process : sortedNames(calls, calls.procRoot)) {
    if (!isProcess(process) || process == self || !holds(calls, process, node)) continue;
    if (!text.empty()) text += ", ";
    text += format("process {:s} ({:s})", process, fileText(calls, calls.procRoot + "/" + process + "/comm"));
  }
  return text;
}

Obstacle explainFailure(SystemCalls& calls, const std::string& node, const transport::StepResult& failed) {
  const std::string text = format("{:s}: {:s}: {:s}", node, failed.step, errorText(failed.status));
  const bool selecting = std::string_view(failed.step) == transport::step::kSetType;
  switch (-failed.status) {
    case EACCES:
    case EPERM:
      return {"no-permission", node + ": permission denied", permissionRemedy(calls, node)};
    case EBUSY: {
      const std::string users = holders(calls, node);
      if (!users.empty()) return {"busy", text + ": " + users, "end that program"};
      return {"busy", text, "end the program that uses it; run as root, this names it"};
    }
    case ENODEV:
      return {"gone", text, "plug the camera in again"};
    case ENOSPC:
      return {"no-bandwidth", text, "plug the camera into another USB controller"};
    case EINVAL:
    case EMSGSIZE:
      return {selecting ? "wrong-format" : "failed", text, ""};
    default:
      return {"failed", text, ""};
  }
}

}  // namespace v4l2
