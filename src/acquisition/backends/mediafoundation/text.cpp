#include "acquisition/backends/mediafoundation/text.h"

#include <windows.h>

#include "acquisition/transport/transportError.h"
#include "common/format.h"
#include "core/logger.h"

namespace mediafoundation {

std::string narrowText(const wchar_t* text) {
  // The NUL counts, so that 0 means failure for an empty text as well.
  const int size = text ? WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr) : 0;
  std::string narrow(static_cast<std::size_t>(size), '\0');
  if (size == 0 || WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), size, nullptr, nullptr) == 0) {
    const std::string failure =
        format("WideCharToMultiByte(...) returned 0 and GetLastError() is {:d}", GetLastError());
    logger::error(failure, LOG_HERE);
    throw transport::TransportError(failure);
  }
  narrow.pop_back();
  return narrow;
}

}  // namespace mediafoundation
