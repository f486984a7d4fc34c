#pragma once

#include <filesystem>

#include "tools/common/privateData.h"

namespace soak {

/// Makes an empty directory the current one, where cameras may leave their dumps and tables, and removes it.
class ScratchDirectory {
 public:
  ScratchDirectory() : before(std::filesystem::current_path()) {
    std::filesystem::current_path(scratch.path());
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(before, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

 private:
  std::filesystem::path before;
  tools::PrivateData scratch{""};
};

}  // namespace soak
