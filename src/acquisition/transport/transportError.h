#pragma once

#include <stdexcept>
#include <string>

namespace transport {

/// A platform operation or an extension-unit transfer failed. Thrown inside the transport only, and always
/// after the one log line that tells about it: whoever catches it answers false and logs nothing more about
/// the step.
class TransportError : public std::runtime_error {
 public:
  explicit TransportError(const std::string& text) : std::runtime_error(text) {}
};

}  // namespace transport
