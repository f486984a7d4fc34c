#pragma once

#include <string>
#include <vector>

#include "acquisition/backends/v4l2/SystemCalls.h"

namespace v4l2 {

/// The system's own calls.
class LinuxSystemCalls : public SystemCalls {
 public:
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
  void sleepFor(std::chrono::milliseconds time) override;
  int readFile(const std::string& path, std::size_t limit, std::string& contents) override;
  int listDirectory(const std::string& path, std::vector<std::string>& names) override;
  int readLink(const std::string& path, std::string& target) override;
  int nodeOwner(const std::string& path, NodeOwner& owner) override;
};

}  // namespace v4l2
