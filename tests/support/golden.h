#pragma once

#include <fstream>
#include <string>
#include <vector>

/// Lines of a file under tests/golden, without those that begin with '#'.
inline std::vector<std::string> goldenLines(const std::string& name) {
  std::ifstream file(std::string(OMBRIX_SOURCE_DIR "/tests/golden/") + name);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with('#')) lines.push_back(line);
  }
  return lines;
}
