#pragma once

#include <string>
#include <vector>

/// A program run as a user runs it; what it printed, apart, and how it ended.
struct Outcome {
  int exitCode = -1;  ///< -1 when something else ended it
  std::string out;
  std::string err;
};

/// Runs the `ombrix` program to its end. standardOutput: a file to use instead of collecting what it prints.
Outcome runOmbrix(const std::vector<std::string>& arguments, const std::string& standardOutput = {});
