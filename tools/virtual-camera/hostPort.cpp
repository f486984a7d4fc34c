#include "tools/virtual-camera/hostPort.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "common/format.h"

namespace virtualcamera {
namespace {

constexpr unsigned kFreeState = 4;
constexpr unsigned kHighSpeed = 3;
constexpr unsigned kBus = 1;

std::string reasonFor(int error, const std::string& path, unsigned port) {
  switch (error) {
    case ENOENT:
      return format("there is no {:s}: load the kernel module with 'modprobe vhci-hcd'", path);
    case EACCES:
    case EPERM:
      return format("{:s} may not be written: run this as root", path);
    case EBUSY:
    case EINVAL:
      return format("port {:d} is taken, or there is none of that number", port);
    default:
      return format("{:s}: {:s}", path, std::generic_category().message(error));
  }
}

}  // namespace

std::optional<unsigned> freePort(const std::string& statusText, unsigned from) {
  // A line per port: "hs  0000 004 000 00000000 000000 0-0", that is bus kind, port, state, ...
  std::istringstream lines(statusText);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string kind;
    unsigned port = 0, state = 0;
    if (words >> kind >> port >> state && kind == "hs" && state == kFreeState && port >= from) return port;
  }
  return {};
}

std::string attachDevice(const std::string& root, int socket, std::optional<unsigned>& port) {
  if (!port) {
    std::ifstream file(root + "/status");
    if (!file) return reasonFor(ENOENT, root, 0);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    port = freePort(text, 0);
    if (!port) return "all ports of the virtual host controller are taken";
  }
  const std::string path = root + "/attach";
  // The number names bus and device on the far side; it only has to be unlike the others'.
  const std::string text = format("{:d} {:d} {:d} {:d}", *port, socket, kBus << 16 | (*port + 2), kHighSpeed);
  const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (file < 0) return reasonFor(errno, path, *port);
  const auto written = write(file, text.data(), text.size());
  const int error = written < 0 ? errno : 0;
  close(file);
  return error == 0 ? std::string() : reasonFor(error, path, *port);
}

}  // namespace virtualcamera
