#pragma once

#include <string>

#include "tools/common/TemporaryPlace.h"

namespace tools {

/// A data directory for the time being: it holds links to the calibration files of another one, except those
/// in "ffc", where shutter runs leave their tables. So what a camera leaves behind here is gone with this
/// object, and no later run loads it.
class PrivateData {
 public:
  /// Throws std::filesystem::filesystem_error when it cannot be made. original: may be empty (no files).
  explicit PrivateData(const std::string& original);

  std::string path() const { return directory.path().string(); }

 private:
  const TemporaryPlace directory;
};

}  // namespace tools
