#pragma once

#include <linux/videodev2.h>

#include <condition_variable>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "acquisition/backends/v4l2/SystemCalls.h"
#include "common/mutex.h"

/// The bytes of a Bramble 6's descriptors (or another product's), with its extension unit under id 2.
std::vector<std::uint8_t> cameraDescriptors(unsigned product = 0x96eb);

/// A number of the calling thread's own, which unlike its id is never used again.
unsigned threadNumber();

/// What S_FMT makes of a request, where a member is not 0.
struct FakeFormat {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t pixelformat = 0;
  std::uint32_t bytesperline = 0;
  std::uint32_t sizeimage = 0;
};

/// A video node of the fake kernel, with what its driver answers. A test sets it up before anything runs.
struct FakeNode {
  std::uint32_t capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
  std::vector<std::uint32_t> fourccs = {V4L2_PIX_FMT_YUYV, V4L2_PIX_FMT_Y16};
  std::uint32_t sizeType = V4L2_FRMSIZE_TYPE_DISCRETE;
  std::uint32_t width = 640;
  std::uint32_t height = 480;
  FakeFormat made;
  std::uint32_t granted = 4;
  std::uint32_t bufferBytes = 0;  ///< 0: as large as a frame
  std::uint32_t bytesUsed = 0;    ///< 0: the whole frame
  std::uint32_t bufferFlags = 0;
  std::uint32_t indexOffset = 0;  ///< added to the index of every buffer handed out
  std::map<int, std::vector<std::uint8_t>> controls{{5, std::vector<std::uint8_t>(16)},
                                                    {6, std::vector<std::uint8_t>(32)}};

  // What happens at run time.
  v4l2_pix_format format{};
  std::map<std::uint32_t, std::vector<std::uint8_t>> memory;
  std::deque<std::uint32_t> queued;
  bool streaming = false;
};

/// A kernel in memory: files, nodes, buffers and the faults a test orders. Counts what is open and mapped.
class FakeKernel : public v4l2::SystemCalls {
 public:
  FakeKernel() { sysRoot = "/sys"; }

  /// A camera behind node `number`, as the kernel shows it, without a metadata node.
  FakeNode& addCamera(unsigned number, unsigned product = 0x96eb);
  FakeNode& addNode(unsigned number, const std::string& name, const std::string& index = "0");

  /// Lets `count` more pictures arrive.
  void produce(int count) EXCLUDES(mutex);
  void unplug() EXCLUDES(mutex);
  int calls() const EXCLUDES(mutex);
  std::size_t openDescriptors() const EXCLUDES(mutex);
  std::size_t mappings() const EXCLUDES(mutex);

  std::map<std::string, std::string> files;
  std::map<std::string, std::string> links;
  std::map<std::string, FakeNode> nodes;  ///< by path
  std::map<std::string, int> openErrors;  ///< by path

  // Faults. Requests are named as in the kernel's headers: "VIDIOC_S_FMT"; others as the table's members.
  std::map<std::string, std::deque<int>> errors;  ///< results of the next calls of this name; 0 = as usual
  std::map<std::string, int> alwaysErrors;        ///< result of every call of this name
  int vanishAtCall = -1;                          ///< the camera is gone from this call on
  std::vector<std::string> log;                   ///< names of the calls so far, waits left out
  std::vector<std::vector<std::uint8_t>> shown;   ///< frames that an output node got
  int holdBack = 0;                               ///< frames that an output node keeps queued
  unsigned streamOffThread = 0;                   ///< of the last VIDIOC_STREAMOFF

  int openNode(const std::string& path) override;
  void closeDescriptor(int descriptor) override;
  int control(int descriptor, unsigned long request, void* argument) override;
  int wait(std::span<pollfd> descriptors, int timeoutMs) override;
  int map(int descriptor, std::size_t length, std::int64_t offset, void*& address) override;
  void unmap(void* address, std::size_t length) override;
  int openEvent() override;
  void signalEvent(int descriptor) override;
  void clearEvent(int descriptor) override;
  std::int64_t writeBytes(int descriptor, std::span<const std::uint8_t> bytes) override;
  void sleepFor(std::chrono::milliseconds) override;
  int readFile(const std::string& path, std::size_t limit, std::string& contents) override;
  int listDirectory(const std::string& path, std::vector<std::string>& names) override;
  int readLink(const std::string& path, std::string& target) override;
  int nodeOwner(const std::string& path, v4l2::NodeOwner& owner) override;

 private:
  int fault(const std::string& name) REQUIRES(mutex);
  int answer(FakeNode& node, unsigned long request, void* argument) REQUIRES(mutex);
  int setFormat(FakeNode& node, v4l2_format& request) const;
  int query(FakeNode& node, void* argument);
  int dequeue(FakeNode& node, v4l2_buffer& buffer) REQUIRES(mutex);
  bool ready(std::span<pollfd> descriptors) REQUIRES(mutex);

  mutable Mutex mutex;
  std::condition_variable condition;
  std::map<int, FakeNode*> open GUARDED_BY(mutex);  ///< null: an event
  std::set<int> signalled GUARDED_BY(mutex);
  std::set<void*> mapped GUARDED_BY(mutex);
  int nextDescriptor GUARDED_BY(mutex) = 100;
  int callCount GUARDED_BY(mutex) = 0;
  int pictures GUARDED_BY(mutex) = 0;
  bool gone GUARDED_BY(mutex) = false;
};
