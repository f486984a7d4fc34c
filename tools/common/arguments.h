#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "common/filePath.h"
#include "platform/program.h"

namespace tools {

/// What `CLI::App::parse` takes: the arguments in UTF-8, the last first, without the program's name.
inline std::vector<std::string> reversedArguments(int argc, char** argv) {
  std::vector<std::string> arguments = platform::programArguments(argc, argv);
  std::reverse(arguments.begin(), arguments.end());
  if (!arguments.empty()) arguments.pop_back();
  return arguments;
}

/// A check for an option; CLI11's own does not take names as UTF-8 everywhere.
inline std::string existingDirectory(const std::string& name) {
  std::error_code ignored;
  if (std::filesystem::is_directory(filePath(name), ignored)) return {};
  return "Directory does not exist: " + name;
}

}  // namespace tools
