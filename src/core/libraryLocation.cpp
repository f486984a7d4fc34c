#include "core/libraryLocation.h"

#include <exception>

#include "common/filePath.h"
#include "platform/system.h"

std::string libraryDirectory() {
  try {
    std::error_code failure;
    const std::filesystem::path file = std::filesystem::canonical(platform::ownFile(), failure);
    return failure ? std::string() : pathText(file.parent_path());
  } catch (const std::exception&) {  // no memory, or a name that the system cannot express
    return {};
  }
}
