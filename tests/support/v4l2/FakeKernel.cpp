#include "support/v4l2/FakeKernel.h"

#include <linux/uvcvideo.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "common/format.h"

namespace {

const std::map<unsigned long, const char*>& requestNames() {
#define NAMED(request) \
  { static_cast<unsigned long>(request), #request }
  static const std::map<unsigned long, const char*> names{
      NAMED(VIDIOC_QUERYCAP),  NAMED(VIDIOC_ENUM_FMT),  NAMED(VIDIOC_ENUM_FRAMESIZES),
      NAMED(VIDIOC_S_FMT),     NAMED(VIDIOC_REQBUFS),   NAMED(VIDIOC_QUERYBUF),
      NAMED(VIDIOC_QBUF),      NAMED(VIDIOC_DQBUF),     NAMED(VIDIOC_STREAMON),
      NAMED(VIDIOC_STREAMOFF), NAMED(UVCIOC_CTRL_QUERY)};
#undef NAMED
  return names;
}

template <typename T>
T& as(void* argument) {
  return *static_cast<T*>(argument);
}

}  // namespace

unsigned threadNumber() {
  static std::atomic<unsigned> last{0};
  thread_local const unsigned mine = ++last;
  return mine;
}

std::vector<std::uint8_t> cameraDescriptors(unsigned product) {
  std::vector<std::uint8_t> bytes = {
      0x12, 0x01, 0x00, 0x02, 0xef, 0x02, 0x01, 0x40, 0x2b, 0x5c, 0,    0,    0x00, 0x01, 0x01, 0x02,
      0x03, 0x01, 0x09, 0x02, 0xb5, 0x00, 0x02, 0x01, 0x00, 0x80, 0xfa, 0x08, 0x0b, 0x00, 0x02, 0x0e,
      0x03, 0x00, 0x02,                                                              //
      0x09, 0x04, 0x00, 0x00, 0x00, 0x0e, 0x01, 0x00, 0x02,                          //
      0x0d, 0x24, 0x01, 0x10, 0x01, 0x44, 0x00, 0x00, 0x6c, 0xdc, 0x02, 0x01, 0x01,  //
      0x1c, 0x24, 0x06, 0x02, 0x22, 0x94, 0xd8, 0x39, 0xa4, 0xa0, 0x3e, 0x44, 0x87, 0xcc, 0xb4, 0x99,
      0x07, 0x43, 0xdd, 0x5a, 0x03, 0x01, 0x01, 0x03, 0x70, 0x00, 0x00, 0x00,  //
      0x09, 0x04, 0x01, 0x00, 0x01, 0x0e, 0x02, 0x00, 0x00, 0x07, 0x05, 0x81, 0x02, 0x00, 0x02, 0x00};
  bytes[10] = static_cast<std::uint8_t>(product & 0xff);
  bytes[11] = static_cast<std::uint8_t>(product >> 8);
  return bytes;
}

FakeNode& FakeKernel::addNode(unsigned number, const std::string& name, const std::string& index) {
  const std::string folder = format("/sys/class/video4linux/video{:d}/", number);
  files[folder + "name"] = name + "\n";
  files[folder + "index"] = index + "\n";
  return nodes[format("/dev/video{:d}", number)];
}

FakeNode& FakeKernel::addCamera(unsigned number, unsigned product) {
  FakeNode& node = addNode(number, "Camera: Camera");
  const std::string folder = format("/sys/class/video4linux/video{:d}/device/", number);
  const auto bytes = cameraDescriptors(product);
  files[folder + "../idVendor"] = "5c2b\n";
  files[folder + "../idProduct"] = format("{:04x}\n", product);
  files[folder + "../descriptors"] = std::string(bytes.begin(), bytes.end());
  files[folder + "../bConfigurationValue"] = "1\n";
  files[folder + "bInterfaceNumber"] = "00\n";
  return node;
}

void FakeKernel::produce(int count) {
  MutexLock lock(mutex);
  pictures += count;
  condition.notify_all();
}

void FakeKernel::unplug() {
  MutexLock lock(mutex);
  gone = true;
  condition.notify_all();
}

int FakeKernel::calls() const {
  MutexLock lock(mutex);
  return callCount;
}

std::size_t FakeKernel::openDescriptors() const {
  MutexLock lock(mutex);
  return open.size();
}

std::size_t FakeKernel::mappings() const {
  MutexLock lock(mutex);
  return mapped.size();
}

/// The result a test ordered for this call, or 0.
int FakeKernel::fault(const std::string& name) {
  log.push_back(name);
  if (callCount++ == vanishAtCall) {
    gone = true;
    condition.notify_all();
  }
  const auto always = alwaysErrors.find(name);
  if (always != alwaysErrors.end()) return always->second;
  auto& ordered = errors[name];
  if (!ordered.empty()) {
    const int result = ordered.front();
    ordered.pop_front();
    if (result != 0) return result;
  }
  return gone ? -ENODEV : 0;
}

int FakeKernel::openNode(const std::string& path) {
  MutexLock lock(mutex);
  const auto refused = openErrors.find(path);
  if (refused != openErrors.end()) return refused->second;
  if (const int status = fault("openNode"); status < 0) return status;
  const auto node = nodes.find(path);
  if (node == nodes.end()) return -ENOENT;
  open[nextDescriptor] = &node->second;
  return nextDescriptor++;
}

void FakeKernel::closeDescriptor(int descriptor) {
  MutexLock lock(mutex);
  open.erase(descriptor);
}

int FakeKernel::openEvent() {
  MutexLock lock(mutex);
  if (const int status = fault("openEvent"); status < 0 && status != -ENODEV) return status;
  open[nextDescriptor] = nullptr;
  return nextDescriptor++;
}

void FakeKernel::signalEvent(int descriptor) {
  MutexLock lock(mutex);
  signalled.insert(descriptor);
  condition.notify_all();
}

void FakeKernel::clearEvent(int descriptor) {
  MutexLock lock(mutex);
  signalled.erase(descriptor);
}

int FakeKernel::map(int, std::size_t, std::int64_t offset, void*& address) {
  MutexLock lock(mutex);
  if (const int status = fault("map"); status < 0) return status;
  for (auto& [path, node] : nodes) {
    const auto found = node.memory.find(static_cast<std::uint32_t>(offset));
    if (found != node.memory.end()) address = found->second.data();
  }
  mapped.insert(address);
  return 0;
}

void FakeKernel::unmap(void* address, std::size_t) {
  MutexLock lock(mutex);
  mapped.erase(address);
}

int FakeKernel::control(int descriptor, unsigned long request, void* argument) {
  MutexLock lock(mutex);
  const auto name = requestNames().find(request);
  if (name == requestNames().end() || !open.count(descriptor)) return -ENOTTY;
  if (request == VIDIOC_STREAMOFF) streamOffThread = threadNumber();
  if (const int status = fault(name->second); status < 0) return status;
  return answer(*open[descriptor], request, argument);
}

int FakeKernel::answer(FakeNode& node, unsigned long request, void* argument) {
  switch (request) {
    case VIDIOC_QUERYCAP:
      as<v4l2_capability>(argument).capabilities =
          V4L2_CAP_DEVICE_CAPS | V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING | V4L2_CAP_META_CAPTURE;
      as<v4l2_capability>(argument).device_caps = node.capabilities;
      return 0;
    case VIDIOC_ENUM_FMT: {
      auto& format = as<v4l2_fmtdesc>(argument);
      if (format.index >= node.fourccs.size()) return -EINVAL;
      format.pixelformat = node.fourccs[format.index];
      return 0;
    }
    case VIDIOC_ENUM_FRAMESIZES: {
      auto& size = as<v4l2_frmsizeenum>(argument);
      if (size.index > 0) return -EINVAL;
      size.type = node.sizeType;
      if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
        size.discrete = {node.width, node.height};
      } else {
        size.stepwise = {16, node.width, 1, 16, node.height, 1};
      }
      return 0;
    }
    case VIDIOC_S_FMT:
      return setFormat(node, as<v4l2_format>(argument));
    case VIDIOC_REQBUFS: {
      auto& buffers = as<v4l2_requestbuffers>(argument);
      buffers.count = buffers.count == 0 ? 0 : node.granted;
      node.memory.clear();
      node.queued.clear();
      const auto bytes = node.bufferBytes ? node.bufferBytes : node.format.sizeimage;
      for (std::uint32_t i = 0; i < buffers.count; ++i) node.memory[i * 4096].resize(bytes, 0);
      return 0;
    }
    case VIDIOC_QUERYBUF: {
      auto& buffer = as<v4l2_buffer>(argument);
      buffer.m.offset = buffer.index * 4096;
      buffer.length = static_cast<std::uint32_t>(node.memory[buffer.m.offset].size());
      return 0;
    }
    case VIDIOC_QBUF: {
      const auto& buffer = as<v4l2_buffer>(argument);
      node.queued.push_back(buffer.index);
      if (buffer.type == V4L2_BUF_TYPE_VIDEO_OUTPUT) {
        const auto& bytes = node.memory[buffer.index * 4096];
        shown.emplace_back(bytes.begin(), bytes.begin() + buffer.bytesused);
      }
      return 0;
    }
    case VIDIOC_DQBUF:
      return dequeue(node, as<v4l2_buffer>(argument));
    case VIDIOC_STREAMON:
      node.streaming = true;
      return 0;
    case VIDIOC_STREAMOFF:
      node.streaming = false;
      return 0;
    default:
      return query(node, argument);
  }
}

int FakeKernel::setFormat(FakeNode& node, v4l2_format& request) const {
  auto& picture = request.fmt.pix;
  const bool output = request.type == V4L2_BUF_TYPE_VIDEO_OUTPUT;
  const std::uint32_t pixelBytes = output ? 4 : 2;
  if (node.made.pixelformat) picture.pixelformat = node.made.pixelformat;
  if (node.made.width) picture.width = node.made.width;
  if (node.made.height) picture.height = node.made.height;
  picture.bytesperline = node.made.bytesperline ? node.made.bytesperline : picture.width * pixelBytes;
  picture.sizeimage = node.made.sizeimage ? node.made.sizeimage : picture.bytesperline * picture.height;
  node.format = picture;
  return 0;
}

int FakeKernel::dequeue(FakeNode& node, v4l2_buffer& buffer) {
  const bool output = buffer.type == V4L2_BUF_TYPE_VIDEO_OUTPUT;
  const bool none = output ? static_cast<int>(node.queued.size()) <= holdBack : pictures == 0;
  if (node.queued.empty() || none) return -EAGAIN;
  const std::uint32_t index = node.queued.front();
  node.queued.pop_front();
  buffer.index = index + node.indexOffset;
  buffer.flags = node.bufferFlags;
  auto& bytes = node.memory[index * 4096];
  buffer.bytesused = node.bytesUsed ? node.bytesUsed : static_cast<std::uint32_t>(bytes.size());
  if (!output) {
    --pictures;
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7);
  }
  return 0;
}

/// As the kernel's driver does: unit and control must be declared, and the size must be the control's.
int FakeKernel::query(FakeNode& node, void* argument) {
  auto& query = as<uvc_xu_control_query>(argument);
  const auto found = node.controls.find(query.selector);
  if (query.unit != 2 || found == node.controls.end()) return -ENOENT;
  auto& value = found->second;
  if (query.query == 0x85) {
    if (query.size != 2) return -EINVAL;
    query.data[0] = static_cast<std::uint8_t>(value.size() & 0xff);
    query.data[1] = static_cast<std::uint8_t>(value.size() >> 8);
    return 0;
  }
  if (query.size != value.size()) return -ENOBUFS;
  if (query.query == 0x01) std::copy_n(query.data, query.size, value.begin());
  if (query.query == 0x81) std::copy(value.begin(), value.end(), query.data);
  return 0;
}

bool FakeKernel::ready(std::span<pollfd> descriptors) {
  bool any = false;
  for (pollfd& entry : descriptors) {
    entry.revents = 0;
    const auto found = open.find(entry.fd);
    if (found == open.end()) continue;
    if (found->second == nullptr) {
      entry.revents = signalled.count(entry.fd) ? POLLIN : 0;
    } else if (gone) {
      entry.revents = POLLERR | POLLHUP;
    } else if (pictures > 0 && found->second->streaming && !found->second->queued.empty()) {
      entry.revents = POLLIN;
    }
    any = any || entry.revents != 0;
  }
  return any;
}

int FakeKernel::wait(std::span<pollfd> descriptors, int timeoutMs) {
  MutexLock lock(mutex);
  if (vanishAtCall >= 0 && callCount > vanishAtCall) gone = true;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (!ready(descriptors)) {
    if (condition.wait_until(lock.native(), deadline) == std::cv_status::timeout) return 0;
  }
  return 1;
}

std::int64_t FakeKernel::writeBytes(int, std::span<const std::uint8_t> bytes) {
  MutexLock lock(mutex);
  if (const int status = fault("writeBytes"); status < 0) return status;
  shown.emplace_back(bytes.begin(), bytes.end());
  return static_cast<std::int64_t>(bytes.size());
}

void FakeKernel::sleepFor(std::chrono::milliseconds) {
  MutexLock lock(mutex);
  log.emplace_back("sleepFor");
}

int FakeKernel::readFile(const std::string& path, std::size_t limit, std::string& contents) {
  MutexLock lock(mutex);
  const auto found = files.find(path);
  if (found == files.end()) return -ENOENT;
  contents = found->second.substr(0, limit);
  return 0;
}

int FakeKernel::listDirectory(const std::string& path, std::vector<std::string>& names) {
  MutexLock lock(mutex);
  std::set<std::string> found;
  for (const auto* table : {&files, &links}) {
    for (const auto& [file, contents] : *table) {
      if (!file.starts_with(path + "/")) continue;
      const auto start = path.size() + 1;
      found.insert(file.substr(start, file.find('/', start) - start));
    }
  }
  names.assign(found.rbegin(), found.rend());
  return found.empty() ? -ENOENT : 0;
}

int FakeKernel::readLink(const std::string& path, std::string& target) {
  MutexLock lock(mutex);
  const auto found = links.find(path);
  if (found == links.end()) return -EINVAL;
  target = found->second;
  return 0;
}

int FakeKernel::nodeOwner(const std::string& path, v4l2::NodeOwner& owner) {
  if (!nodes.count(path)) return -ENOENT;
  owner = {"root", "video", 0660};
  return 0;
}
