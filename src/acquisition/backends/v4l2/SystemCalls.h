#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace v4l2 {

/// Who may use a device node.
struct NodeOwner {
  std::string user;
  std::string group;
  std::uint32_t mode = 0;  ///< permission bits
};

/// Everything this backend asks of the system, so that tests can stand in for it. Calls that can fail return
/// a negative errno; a result that is 0 or larger is success. The real table does nothing else than the call.
class SystemCalls {
 public:
  SystemCalls() = default;
  virtual ~SystemCalls() = default;
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;

  /// Opens a device node for reading and writing, non-blocking; the descriptor.
  virtual int openNode(const std::string& path) = 0;
  virtual void closeDescriptor(int descriptor) = 0;
  virtual int control(int descriptor, unsigned long request, void* argument) = 0;
  virtual int wait(std::span<pollfd> descriptors, int timeoutMs) = 0;
  /// Maps device memory, readable and writable, shared.
  virtual int map(int descriptor, std::size_t length, std::int64_t offset, void*& address) = 0;
  virtual void unmap(void* address, std::size_t length) = 0;
  /// A descriptor that becomes readable with `signalEvent` and stays so until `clearEvent`.
  virtual int openEvent() = 0;
  virtual void signalEvent(int descriptor) = 0;
  virtual void clearEvent(int descriptor) = 0;
  /// Bytes written, or a negative errno.
  virtual std::int64_t writeBytes(int descriptor, std::span<const std::uint8_t> bytes) = 0;
  virtual void sleepFor(std::chrono::milliseconds time) = 0;

  /// At most `limit` bytes from the start of a file.
  virtual int readFile(const std::string& path, std::size_t limit, std::string& contents) = 0;
  /// The names in a directory, in no order, without "." and "..".
  virtual int listDirectory(const std::string& path, std::vector<std::string>& names) = 0;
  virtual int readLink(const std::string& path, std::string& target) = 0;
  virtual int nodeOwner(const std::string& path, NodeOwner& owner) = 0;

  // Where the kernel shows itself.
  std::string sysRoot = "/sys";
  std::string devRoot = "/dev";
  std::string procRoot = "/proc";
};

/// The table in use: the system's own, or what a test installed. Never null.
std::shared_ptr<SystemCalls> systemCalls();
/// Makes `calls` the table of everything opened from now on; null returns to the system's own.
void setSystemCallsForTesting(std::shared_ptr<SystemCalls> calls);

/// `control`, repeated as long as a signal interrupts it.
int controlRetried(SystemCalls& calls, int descriptor, unsigned long request, void* argument);

/// A small file's text without the line end; empty when it cannot be read.
std::string fileText(SystemCalls& calls, const std::string& path);

}  // namespace v4l2
