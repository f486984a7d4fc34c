#pragma once

#include <filesystem>
#include <string>

namespace tools {

/// A name for a directory that is gone with this object, or earlier when the program has to end at once. The
/// owner makes the directory, and may move it elsewhere.
class TemporaryPlace {
 public:
  /// The name begins with `prefix` and is nobody else's.
  TemporaryPlace(const std::filesystem::path& parent, const std::string& prefix);
  ~TemporaryPlace();
  TemporaryPlace(const TemporaryPlace&) = delete;
  TemporaryPlace& operator=(const TemporaryPlace&) = delete;

  const std::filesystem::path& path() const { return place; }

  /// Removes the directories of all such objects: what a program does that ends without unwinding. Any
  /// thread.
  static void removeAll();

 private:
  std::filesystem::path place;
};

}  // namespace tools
