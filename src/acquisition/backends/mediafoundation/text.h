#pragma once

#include <string>

namespace mediafoundation {

/// A wide text of the system, with its final NUL, as UTF-8. Logs and throws transport::TransportError when
/// the system cannot convert it.
std::string narrowText(const wchar_t* text);

}  // namespace mediafoundation
