#pragma once

#include <filesystem>
#include <string>

namespace tools {

/// A data directory for the time being: it holds links to the calibration files of another one, except those
/// in "ffc", where shutter runs leave their tables. So what a camera leaves behind here is gone with this
/// object, and no later run loads it.
class PrivateData {
 public:
  /// Throws std::filesystem::filesystem_error when it cannot be made. original: may be empty (no files).
  explicit PrivateData(const std::string& original);
  ~PrivateData();
  PrivateData(const PrivateData&) = delete;
  PrivateData& operator=(const PrivateData&) = delete;

  std::string path() const { return directory.string(); }

 private:
  std::filesystem::path directory;
};

}  // namespace tools
