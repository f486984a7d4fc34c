#include "acquisition/backends/v4l2/LinuxSystemCalls.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <thread>

namespace v4l2 {
namespace {

int resultOf(int value) { return value < 0 ? -errno : value; }

std::string userName(uid_t id) {
  std::array<char, 4096> store{};
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(id, &entry, store.data(), store.size(), &found) == 0 && found) return found->pw_name;
  return std::to_string(id);
}

std::string groupName(gid_t id) {
  std::array<char, 4096> store{};
  group entry{};
  group* found = nullptr;
  if (getgrgid_r(id, &entry, store.data(), store.size(), &found) == 0 && found) return found->gr_name;
  return std::to_string(id);
}

}  // namespace

int LinuxSystemCalls::openNode(const std::string& path) {
  return resultOf(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
}

void LinuxSystemCalls::closeDescriptor(int descriptor) { ::close(descriptor); }

int LinuxSystemCalls::control(int descriptor, unsigned long request, void* argument) {
  return resultOf(::ioctl(descriptor, request, argument));
}

int LinuxSystemCalls::wait(std::span<pollfd> descriptors, int timeoutMs) {
  return resultOf(::poll(descriptors.data(), static_cast<nfds_t>(descriptors.size()), timeoutMs));
}

int LinuxSystemCalls::map(int descriptor, std::size_t length, std::int64_t offset, void*& address) {
  void* const mapped = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, offset);
  if (mapped == MAP_FAILED) return -errno;
  address = mapped;
  return 0;
}

void LinuxSystemCalls::unmap(void* address, std::size_t length) { ::munmap(address, length); }

int LinuxSystemCalls::openEvent() { return resultOf(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)); }

void LinuxSystemCalls::signalEvent(int descriptor) {
  const std::uint64_t one = 1;
  // It can only fail on a full counter, which is readable all the same.
  [[maybe_unused]] const auto written = ::write(descriptor, &one, sizeof one);
}

void LinuxSystemCalls::clearEvent(int descriptor) {
  std::uint64_t count = 0;
  [[maybe_unused]] const auto taken = ::read(descriptor, &count, sizeof count);
}

std::int64_t LinuxSystemCalls::writeBytes(int descriptor, std::span<const std::uint8_t> bytes) {
  const auto written = ::write(descriptor, bytes.data(), bytes.size());
  return written < 0 ? -errno : static_cast<std::int64_t>(written);
}

void LinuxSystemCalls::sleepFor(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

int LinuxSystemCalls::readFile(const std::string& path, std::size_t limit, std::string& contents) {
  contents.clear();
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return -errno;
  std::array<char, 4096> piece{};
  int status = 0;
  while (contents.size() < limit) {
    const auto got = ::read(descriptor, piece.data(), std::min(piece.size(), limit - contents.size()));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) status = -errno;
    if (got <= 0) break;
    contents.append(piece.data(), static_cast<std::size_t>(got));
  }
  ::close(descriptor);
  return status;
}

int LinuxSystemCalls::listDirectory(const std::string& path, std::vector<std::string>& names) {
  names.clear();
  std::error_code error;
  for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  return -error.value();
}

int LinuxSystemCalls::readLink(const std::string& path, std::string& target) {
  std::error_code error;
  target = std::filesystem::read_symlink(path, error).string();
  return -error.value();
}

int LinuxSystemCalls::nodeOwner(const std::string& path, NodeOwner& owner) {
  struct stat status {};
  if (::stat(path.c_str(), &status) < 0) return -errno;
  owner = {userName(status.st_uid), groupName(status.st_gid), status.st_mode & 07777u};
  return 0;
}

}  // namespace v4l2
