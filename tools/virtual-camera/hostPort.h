#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace virtualcamera {

/// Where the kernel's virtual host controller shows itself.
inline constexpr const char* kDefaultAttachRoot = "/sys/devices/platform/vhci_hcd.0";

/// The first free high-speed port at or after `from` in the controller's table of ports; nothing when all
/// are taken or the text is no such table.
std::optional<unsigned> freePort(const std::string& statusText, unsigned from);

/// Plugs a device into the controller. The kernel keeps the socket's other end by itself.
/// port: where to; without it the first free one, which is written back.
/// An empty result means success, otherwise it is the reason and the remedy.
std::string attachDevice(const std::string& root, int socket, std::optional<unsigned>& port);

}  // namespace virtualcamera
