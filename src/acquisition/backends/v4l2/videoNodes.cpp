#include "acquisition/backends/v4l2/videoNodes.h"

#include <linux/videodev2.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "acquisition/backends/v4l2/OpenNode.h"
#include "common/format.h"

namespace v4l2 {
namespace {

constexpr std::string_view kPrefix = "video";
constexpr std::size_t kMostDescriptorBytes = std::size_t{256}
                                             << 10;  // four configurations of the largest size

std::optional<unsigned> readNumber(std::string_view text, int base, std::size_t digits) {
  unsigned value = 0;
  if (text.empty() || text.size() > digits) return {};
  const auto end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value, base);
  if (result.ec != std::errc{} || result.ptr != end) return {};
  return value;
}

/// The number in "video12"; nothing for other names.
std::optional<unsigned> nodeNumber(std::string_view name) {
  if (!name.starts_with(kPrefix)) return {};
  return readNumber(name.substr(kPrefix.size()), 10, 6);
}

VideoNode describe(SystemCalls& calls, unsigned number) {
  VideoNode node;
  node.number = number;
  node.devicePath = format("{:s}/video{:d}", calls.devRoot, number);
  node.sysPath = format("{:s}/class/video4linux/video{:d}", calls.sysRoot, number);
  node.friendlyName = fileText(calls, node.sysPath + "/name");
  if (node.friendlyName.empty()) node.friendlyName = format("video{:d}", number);
  // "device" is the camera's interface, its parent the USB device.
  const auto vendor = numberInFile(calls, node.sysPath + "/device/../idVendor", 16, 4);
  const auto product = numberInFile(calls, node.sysPath + "/device/../idProduct", 16, 4);
  if (vendor && product) {
    node.vendorId = static_cast<int>(*vendor);
    node.productId = static_cast<int>(*product);
  }
  return node;
}

bool isFirstNode(SystemCalls& calls, const VideoNode& node) {
  return numberInFile(calls, node.sysPath + "/index", 10, 4) == 0u;
}

}  // namespace

std::optional<unsigned> numberInFile(SystemCalls& calls, const std::string& path, int base,
                                     std::size_t digits) {
  return readNumber(fileText(calls, path), base, digits);
}

std::string VideoNode::pathText() const {
  if (vendorId < 0) return devicePath;
  return format("{:s} vid_{:04x}&pid_{:04x}", devicePath, vendorId, productId);
}

std::vector<VideoNode> listVideoNodes(SystemCalls& calls) {
  std::vector<std::string> names;
  calls.listDirectory(calls.sysRoot + "/class/video4linux",
                      names);  // a system without video has no such folder
  std::vector<unsigned> numbers;
  for (const std::string& name : names) {
    if (const auto number = nodeNumber(name)) numbers.push_back(*number);
  }
  std::sort(numbers.begin(), numbers.end());
  std::vector<VideoNode> nodes;
  nodes.reserve(numbers.size());
  for (const unsigned number : numbers) nodes.push_back(describe(calls, number));
  return nodes;
}

std::optional<VideoNode> videoNode(SystemCalls& calls, std::string_view name) {
  const auto number = nodeNumber(name);
  if (!number) return {};
  return describe(calls, *number);
}

int captureStatus(SystemCalls& calls, const VideoNode& node) {
  const int descriptor = calls.openNode(node.devicePath);
  if (descriptor < 0) {
    const bool absent = descriptor == -ENOENT || descriptor == -ENODEV || descriptor == -ENXIO;
    return !absent && isFirstNode(calls, node) ? 0 : descriptor;
  }
  v4l2_capability answer{};
  const int status = controlRetried(calls, descriptor, VIDIOC_QUERYCAP, &answer);
  calls.closeDescriptor(descriptor);
  if (status < 0) return status;
  // `capabilities` speaks of all nodes of the camera together.
  constexpr std::uint32_t kNeeded = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
  return (nodeCapabilities(answer) & kNeeded) == kNeeded ? 0 : kOtherNode;
}

int nodeUnits(SystemCalls& calls, const VideoNode& node, std::vector<ExtensionUnit>& units) {
  units.clear();
  const std::string device = node.sysPath + "/device/";
  std::string bytes;
  const int status = calls.readFile(device + "../descriptors", kMostDescriptorBytes, bytes);
  if (status < 0) return status;
  units = extensionUnits({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  const auto active = numberInFile(calls, device + "../bConfigurationValue", 10, 3);
  const auto control = numberInFile(calls, device + "bInterfaceNumber", 16, 2);
  std::erase_if(units, [&](const ExtensionUnit& unit) {
    return (active && unit.configuration != *active) || (control && unit.interfaceNumber != *control);
  });
  return 0;
}

}  // namespace v4l2
