#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

/// A folder for the files of one test, removed with everything in it.
class ScratchFolder {
 public:
  /// `purpose`: of a second one in the same test.
  explicit ScratchFolder(const std::string& purpose = "")
      : folder(std::filesystem::temp_directory_path() /
               ("ombrix_" + std::to_string(::getpid()) + "_" +
                testing::UnitTest::GetInstance()->current_test_info()->name() + purpose)) {
    std::filesystem::remove_all(folder);  // left by a process that was killed, whose number came again
    std::filesystem::create_directories(folder);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string path(const std::string& name) const { return (folder / name).generic_string(); }

  /// Writes a file and gives its path.
  std::string file(const std::string& name, std::string_view bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  std::string subfolder(const std::string& name) const {
    std::filesystem::create_directory(folder / name);
    return path(name);
  }

 private:
  std::filesystem::path folder;
};

inline std::string fileContents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::string goldenPath(const std::string& name) {
  return std::string(OMBRIX_SOURCE_DIR "/tests/golden/") + name;
}
