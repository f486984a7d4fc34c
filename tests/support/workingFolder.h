#pragma once

#include <filesystem>

#include "support/scratchFiles.h"

/// A scratch folder that is the working directory for as long as it lives.
class WorkingFolder : public ScratchFolder {
 public:
  WorkingFolder() : before(std::filesystem::current_path()) { std::filesystem::current_path(path("")); }
  ~WorkingFolder() { std::filesystem::current_path(before); }

 private:
  std::filesystem::path before;
};
